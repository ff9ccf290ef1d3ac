#include "hostkit/explaining/chronicle.h"

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>

#include "hostkit/errors.h"
#include "hostkit/explaining/misses.h"
#include "hostkit/formats/frameTimes.h"
#include "hostkit/formats/picture.h"
#include "hostkit/text/numbers.h"
#include "hostkit/tracking/cameras.h"
#include "hostkit/tracking/reportPolicy.h"

namespace nivra::hostkit {

namespace {

using Taking = ChronicleFrame::Taking;

bool isBefore(const Taking& taking, std::int32_t track) { return taking.track < track; }

/// The pairs that came to nothing where somebody came away empty or was outbid: of each track and of each detection the
/// nearest ones, since in a crowd all are near to all.
std::vector<PairExplanation> nearestMisses(const std::vector<PairExplanation>& all,
                                           const std::unordered_set<std::size_t>& takenBefore,
                                           const ChronicleFrame& kept) {
  constexpr int kMost = 3;
  std::vector<std::pair<Remoteness, const PairExplanation*>> misses;
  for (const PairExplanation& each : all) {
    const bool isOpen = !kept.detectionOf(each.pair.track) || takenBefore.count(each.pair.detection) == 0;
    const bool isMiss =
        each.outcome == Decision::Outcome::outbid || (each.outcome != Decision::Outcome::matched && isOpen);
    if (isMiss) misses.emplace_back(remotenessOf(each, kept), &each);
  }
  std::sort(misses.begin(), misses.end());  // equals in their order
  std::unordered_map<std::int32_t, int> ofTrack;
  std::unordered_map<std::size_t, int> ofDetection;
  std::vector<PairExplanation> nearest;
  for (const auto& [remoteness, miss] : misses) {
    const auto& [track, detection] = miss->pair;
    const bool isNear = ofTrack[track] < kMost || ofDetection[detection] < kMost;
    if (!isNear) continue;
    ++ofTrack[track];
    ++ofDetection[detection];
    nearest.push_back(*miss);
    nearest.back().verdicts = refusalsOf(*miss);
  }
  return nearest;
}

/// Of reasons, those without which nothing can be told of lives and switches.
FrameReasons worthKeeping(const FrameReasons& all, const ChronicleFrame& kept) {
  FrameReasons reasons;
  std::unordered_set<std::size_t> takenBefore;  // by tracks that there were
  for (const Taking& each : kept.takings) takenBefore.insert(each.detection);
  for (const TrackExplanation& each : all.tracks) {
    if (each.change == TrackExplanation::Change::none) continue;
    reasons.tracks.push_back(each);
    if (each.change == TrackExplanation::Change::began) takenBefore.erase(*each.detection);
  }
  reasons.pairs = nearestMisses(all.pairs, takenBefore, kept);
  reasons.revivals = all.revivals;
  return reasons;
}

void countIdentitiesFrom(std::int32_t first, ChronicleFrame& kept) {
  if (first == 0) return;
  for (Taking& each : kept.takings) each.track += first;
  for (PairExplanation& each : kept.reasons.pairs) {
    each.pair.track += first;
    each.rival.track += first;
  }
  for (RevivalExplanation& each : kept.reasons.revivals) {
    for (RevivalExplanation::Members* const members : {&each.pair, &each.rival}) {
      members->lost += first;
      members->young += first;
    }
  }
  for (TrackExplanation& each : kept.reasons.tracks) {
    each.track += first;
    if (each.other) *each.other += first;
  }
}

/// Keeps what is told of the tracks of one camera.
class ToldTracks {
 public:
  explicit ToldTracks(const ReportOptions& options) : policy(policyOf(options, true)) {}

  /// @param firstId What the present tracker's identities are counted from.
  void take(const Frame& frame, FrameTracks& result, std::int32_t firstId) {
    if (trackers.empty() || trackers.back().firstId != firstId) trackers.push_back({ReportStep(policy), firstId});
    Tracker& tracker = trackers.back();
    picture = frame.picture;
    result.reasons.clear();
    tracker.reporting.chooseBoxes(frame.detections, result);
    tracker.reporting.learn(*frame.timestamp, result);
    learned.push_back({result, &tracker});
  }

  /// Writes it down, which may depend on all frames.
  IdentifiedSequence finish(const std::vector<ChronicleFrame>& frames) {
    IdentifiedSequence tracks;
    tracks.inPixels = picture.has_value();
    for (std::size_t i = 0; i < learned.size(); ++i) {
      auto& [result, tracker] = learned[i];
      tracker->reporting.apply(frames[i].timestamp, result);
      for (const TrackReport& report : result.tracks) {
        IdentifiedRow row = rowOf(report.track, frames[i].number, picture);
        row.identified.identity += tracker->firstId;
        if (hasArea(row.identified.box)) tracks.rows.push_back(row);
      }
    }
    return tracks;
  }

 private:
  struct Tracker {
    ReportStep reporting;
    std::int32_t firstId;
  };
  struct Learned {
    FrameTracks result;
    Tracker* tracker;
  };

  ReportPolicy policy;
  std::optional<PictureSize> picture;
  std::deque<Tracker> trackers;  // one after the other
  std::vector<Learned> learned;  // of each frame
};

}  // namespace

std::optional<std::int32_t> ChronicleFrame::takerOf(std::size_t detection) const {
  const auto found = std::find_if(takings.begin(), takings.end(),
                                  [detection](const Taking& each) { return each.detection == detection; });
  return found == takings.end() ? std::nullopt : std::optional(found->track);
}

std::optional<std::size_t> ChronicleFrame::detectionOf(std::int32_t track) const {
  const auto found = std::lower_bound(takings.begin(), takings.end(), track, isBefore);
  return found == takings.end() || found->track != track ? std::nullopt : std::optional(found->detection);
}

void Chronicle::add(int number, const Frame& frame, const FrameTracks& result, bool keepsAll) {
  ChronicleFrame& kept = allFrames.emplace_back();
  kept.number = number;
  kept.timestamp = *frame.timestamp;
  for (const TrackReport& report : result.tracks) follow(report, kept);
  std::sort(kept.takings.begin(), kept.takings.end(),
            [](const Taking& a, const Taking& b) { return a.track < b.track; });
  for (const int id : result.changes.removedIds) {
    const auto life = allLives.find(firstOfTracker + id);
    if (life != allLives.end()) life->second.end = allFrames.size() - 1;
  }
  kept.reasons = keepsAll ? result.reasons : worthKeeping(result.reasons, kept);
  countIdentitiesFrom(firstOfTracker, kept);
}

void Chronicle::follow(const TrackReport& report, ChronicleFrame& kept) {
  const std::size_t now = allFrames.size() - 1;
  const std::int32_t id = firstOfTracker + report.track.id;
  const Box& box = report.track.box;
  ChronicleLife& life = allLives.try_emplace(id, ChronicleLife{now, now, std::nullopt, false, box, box}).first->second;
  life.lastBox = box;
  if (report.detectionId < 0) return;
  kept.takings.push_back({report.track.id, static_cast<std::size_t>(report.detectionId)});
  life.lastSeen = now;
}

void Chronicle::cutOff() {
  for (auto& [id, life] : allLives) {
    if (life.end) continue;
    life.end = allFrames.size() - 1;
    life.wasCutOff = true;
  }
  if (!allLives.empty()) firstOfTracker = allLives.rbegin()->first + 1;
}

std::optional<std::size_t> Chronicle::find(int number) const {
  const auto found = std::lower_bound(allFrames.begin(), allFrames.end(), number,
                                      [](const ChronicleFrame& each, int wanted) { return each.number < wanted; });
  if (found == allFrames.end() || found->number != number) return std::nullopt;
  return static_cast<std::size_t>(found - allFrames.begin());
}

double Chronicle::secondsAt(std::size_t frame) const {
  // A camera that begins anew may count its time anew.
  const double start = static_cast<double>(allFrames.front().timestamp);
  return (static_cast<double>(allFrames[frame].timestamp) - start) * 1e-9;
}

std::optional<std::size_t> Chronicle::lastSeenBefore(std::int32_t track, std::size_t frame) const {
  const auto life = allLives.find(track);
  if (life == allLives.end()) return std::nullopt;
  for (std::size_t i = std::min(frame, life->second.lastSeen + 1); i-- > life->second.first;) {
    if (allFrames[i].detectionOf(track)) return i;
  }
  return std::nullopt;
}

const TrackExplanation* Chronicle::changeAt(std::size_t frame, std::int32_t track,
                                            TrackExplanation::Change change) const {
  for (const TrackExplanation& each : allFrames[frame].reasons.tracks) {
    if (each.track == track && each.change == change) return &each;
  }
  return nullptr;
}

ReadChronicle chronicleOf(const ChronicleOptions& options, const TrackerRecipe& recipe, std::ostream* messages) {
  const TrackInput& input = options.track.inputs.front();
  ReadSettings readSettings = options.track.read;
  readSettings.warn = [messages](const std::string& what) {
    if (messages != nullptr) *messages << fmt::format("warning: {}\n", what);
  };
  AnswerOptions answerOptions = options.track;
  answerOptions.explain = options.withReasons;
  Cameras cameras(
      recipe, cameraSettingsOf(answerOptions, associationsOf(answerOptions, knownLabels(options.track, input)), true));

  ReadChronicle result;
  Chronicle& chronicle = result.chronicle;
  FrameNumbering numbering(readSettings.frameRate, std::nullopt);
  std::optional<ToldTracks> told;
  if (options.withTracks) told.emplace(options.track.report);
  std::set<std::string> names;
  std::string wanted = options.camera;
  FrameTracks tracks;
  const auto reader = input.read(readSettings);
  for (Record record; reader->read(record);) {
    const auto now = Cameras::Clock::now();
    if (auto* const frame = std::get_if<Frame>(&record)) {
      if (options.camera.empty() && names.empty()) wanted = frame->camera;
      names.insert(frame->camera);
      if (const auto refusal = cameras.take(*frame, now, tracks)) {
        ++result.badRecords;
      } else if (frame->camera == wanted) {
        const int number = numbering.next(*frame->timestamp);
        chronicle.add(number, *frame, tracks, options.wholeFrame == number);
        if (told) told->take(*frame, tracks, chronicle.firstId());
      }
    } else if (const auto* const motion = std::get_if<CameraMotion>(&record)) {
      cameras.take(*motion, now);
    } else if (const auto* const end = std::get_if<CameraEnd>(&record)) {
      cameras.take(*end);
      if (end->camera == wanted && !chronicle.frames().empty()) chronicle.cutOff();
    } else {
      ++result.badRecords;
    }
  }
  if (options.camera.empty() && names.size() > 1) {
    std::string choice;
    for (const std::string& each : names) choice += (choice.empty() ? "" : ", ") + hostkit::quoted(each);
    throw UsageError("several cameras: --camera takes one of " + choice);
  }
  if (chronicle.frames().empty()) {
    const std::string bad = result.badRecords == 0
                                ? ""
                                : fmt::format(", but {} bad lines; nivra track says what they are", result.badRecords);
    if (options.camera.empty()) throw FileError(fmt::format("{}: no frames{}", input.path, bad));
    throw UsageError(fmt::format("--camera {}: there is no such camera", options.camera));
  }
  if (told) result.tracks = told->finish(chronicle.frames());
  return result;
}

}  // namespace nivra::hostkit
