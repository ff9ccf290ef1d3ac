#include "hostkit/explaining/chronicle.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>
#include <variant>

#include "hostkit/errors.h"
#include "hostkit/formats/frameTimes.h"
#include "hostkit/formats/picture.h"
#include "hostkit/tracking/cameras.h"
#include "hostkit/tracking/reportPolicy.h"

namespace nivra::hostkit {

namespace {

/// Keeps what comes of one camera's frames.
class Chronicler {
 public:
  Chronicler(const ChronicleOptions& chronicleOptions, Chronicle& target)
      : options(chronicleOptions),
        chronicle(target),
        numbering(options.track.read.frameRate, std::nullopt),
        reporting(policyOf(options.track.report, true)) {}

  void take(const Frame& frame, FrameTracks& result) {
    ChronicleFrame& kept = chronicle.frames.emplace_back();
    kept.number = numbering.next(*frame.timestamp);
    kept.timestamp = *frame.timestamp;
    keepTakers(result, kept);
    if (options.withReasons) {
      kept.reasons = options.wholeFrame == kept.number ? result.reasons : worthKeeping(result.reasons, kept);
    }
    if (!options.withTracks) return;
    picture = frame.picture;
    result.reasons.clear();
    reporting.chooseBoxes(frame.detections, result);
    reporting.learn(kept.timestamp, result);
    told.push_back(result);
  }

  /// Writes down what is told of tracks, which may depend on the frames to come.
  void finish() {
    constexpr PictureSize kNormalised = {2, 2};
    chronicle.tracks.inPixels = picture.has_value();
    for (std::size_t i = 0; i < told.size(); ++i) {
      reporting.apply(chronicle.frames[i].timestamp, told[i]);
      for (const TrackReport& report : told[i].tracks) {
        IdentifiedRow row;
        row.frame = chronicle.frames[i].number;
        row.identified = {toPixels(report.track.box, picture.value_or(kNormalised)), report.track.id};
        if (hasArea(row.identified.box)) chronicle.tracks.rows.push_back(row);
      }
    }
  }

 private:
  void keepTakers(const FrameTracks& result, ChronicleFrame& kept) {
    const std::size_t now = chronicle.frames.size() - 1;
    for (const TrackReport& report : result.tracks) {
      const Box& box = report.track.box;
      const ChronicleLife begun = {now, now, std::nullopt, box, box};
      ChronicleLife& life = chronicle.lives.try_emplace(report.track.id, begun).first->second;
      life.lastBox = box;
      if (report.detectionId < 0) continue;
      const auto detection = static_cast<std::size_t>(report.detectionId);
      kept.takerOf[detection] = report.track.id;
      kept.detectionOf[report.track.id] = detection;
      life.lastSeen = now;
    }
    for (const int id : result.changes.removedIds) {
      const auto life = chronicle.lives.find(id);
      if (life != chronicle.lives.end()) life->second.end = now;
    }
  }

  static FrameReasons worthKeeping(const FrameReasons& all, const ChronicleFrame& kept) {
    FrameReasons reasons;
    std::set<std::size_t> begun;
    for (const TrackExplanation& each : all.tracks) {
      if (each.change == TrackExplanation::Change::none) continue;
      reasons.tracks.push_back(each);
      if (each.change == TrackExplanation::Change::began) begun.insert(*each.detection);
    }
    for (const PairExplanation& each : all.pairs) {
      const bool isEmptyHanded = kept.detectionOf.count(each.pair.track) == 0;
      const bool isLeft = begun.count(each.pair.detection) > 0 || kept.takerOf.count(each.pair.detection) == 0;
      if (isEmptyHanded || isLeft || each.outcome == Decision::Outcome::outbid) reasons.pairs.push_back(each);
    }
    reasons.revivals = all.revivals;
    return reasons;
  }

  const ChronicleOptions& options;
  Chronicle& chronicle;
  FrameNumbering numbering;
  ReportStep reporting;
  std::optional<PictureSize> picture;
  std::vector<FrameTracks> told;  // of each frame, if it is asked for
};

}  // namespace

std::optional<std::size_t> Chronicle::find(int number) const {
  const auto found = std::lower_bound(frames.begin(), frames.end(), number,
                                      [](const ChronicleFrame& each, int wanted) { return each.number < wanted; });
  if (found == frames.end() || found->number != number) return std::nullopt;
  return static_cast<std::size_t>(found - frames.begin());
}

double Chronicle::secondsAt(std::size_t frame) const {
  return static_cast<double>(frames[frame].timestamp - frames.front().timestamp) * 1e-9;
}

std::optional<std::size_t> Chronicle::lastSeenBefore(std::int32_t track, std::size_t frame) const {
  const auto life = lives.find(track);
  if (life == lives.end()) return std::nullopt;
  for (std::size_t i = std::min(frame, life->second.lastSeen + 1); i-- > life->second.first;) {
    if (frames[i].detectionOf.count(track) > 0) return i;
  }
  return std::nullopt;
}

Chronicle chronicleOf(const ChronicleOptions& options, const TrackerRecipe& recipe, std::ostream* messages) {
  const TrackInput& input = options.track.inputs.front();
  ReadSettings readSettings = options.track.read;
  readSettings.warn = [messages](const std::string& what) {
    if (messages != nullptr) *messages << fmt::format("warning: {}\n", what);
  };
  AnswerOptions answerOptions = options.track;
  answerOptions.explain = options.withReasons;
  Cameras cameras(
      recipe, cameraSettingsOf(answerOptions, associationsOf(answerOptions, knownLabels(options.track, input)), true));

  Chronicle chronicle;
  Chronicler chronicler(options, chronicle);
  std::set<std::string> names;
  std::string wanted = options.camera;
  FrameTracks result;
  const auto reader = input.format->read(input.path, readSettings);
  for (Record record; reader->read(record);) {
    const auto now = Cameras::Clock::now();
    if (auto* const frame = std::get_if<Frame>(&record)) {
      if (options.camera.empty() && names.empty()) wanted = frame->camera;
      names.insert(frame->camera);
      if (const auto refusal = cameras.take(*frame, now, result)) {
        ++chronicle.badRecords;
      } else if (frame->camera == wanted) {
        chronicler.take(*frame, result);
      }
    } else if (const auto* const motion = std::get_if<CameraMotion>(&record)) {
      cameras.take(*motion, now);
    } else if (const auto* const end = std::get_if<CameraEnd>(&record)) {
      cameras.take(*end);
    } else {
      ++chronicle.badRecords;
    }
  }
  if (options.camera.empty() && names.size() > 1) {
    throw UsageError(fmt::format("several cameras: --camera takes one of {}", fmt::join(names, ", ")));
  }
  if (chronicle.frames.empty()) {
    if (options.camera.empty()) throw FileError(fmt::format("{}: no frames", input.path));
    throw UsageError(fmt::format("--camera {}: there is no such camera", options.camera));
  }
  chronicler.finish();
  return chronicle;
}

}  // namespace nivra::hostkit
