#include "hostkit/replaying/recording.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/evaluation/inputs.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/formats/frameTimes.h"
#include "hostkit/replaying/recorder.h"

namespace nivra::hostkit {

namespace {

using Draft = CameraDrafts::Draft;

constexpr double kUsualFrameRate = 25.0;

/// As trackers say it, unless somebody wants to see what files are told.
constexpr ReportOptions kAllReports = {kReportsOfStreams.tracks, kReportsOfStreams.hold, kReportsOfStreams.fill,
                                       kReportsOfStreams.boxes, std::nullopt};

/// Keeps the detections of an input that nobody tracks.
void keepDetections(const TrackInput& input, const ReadSettings& settings, CameraDrafts& drafts) {
  const double frameRate = settings.frameRate.value_or(kUsualFrameRate);
  std::map<std::string, FrameNumbering> numberings;
  const auto reader = input.read(settings);
  for (Record record; reader->read(record);) {
    Frame* const frame = std::get_if<Frame>(&record);
    if (frame == nullptr) continue;
    FrameNumbering& numbering =
        numberings.try_emplace(frame->camera, FrameNumbering(settings.frameRate, std::nullopt)).first->second;
    if (!frame->timestamp) frame->timestamp = timestampOf(numbering.last() + 1, frameRate);
    CameraDrafts::addDetections(drafts.at(frame->camera), *frame, numbering.next(*frame->timestamp));
  }
}

/// The smallest picture of whole pixels in which all boxes are.
PictureSize pictureAround(const std::vector<IdentifiedRow>& rows) {
  constexpr double kLeast = 16.0;
  double right = kLeast;
  double bottom = kLeast;
  for (const IdentifiedRow& each : rows) {
    right = std::max(right, each.identified.box.left + each.identified.box.width);
    bottom = std::max(bottom, each.identified.box.top + each.identified.box.height);
  }
  const auto side = [](double length) { return static_cast<int>(std::min(std::ceil(length), 1e6)); };
  return {side(right), side(bottom)};
}

/// A sequence that isn't in pixels is in a picture 2 wide and 2 high, whose middle is the origin.
void bringIntoPixels(IdentifiedSequence& sequence, PictureSize picture) {
  const double x = picture.width / 2.0;
  const double y = picture.height / 2.0;
  for (IdentifiedRow& each : sequence.rows) {
    PixelBox& box = each.identified.box;
    box = {(box.left + 1.0) * x, (box.top + 1.0) * y, box.width * x, box.height * y};
  }
}

/// Takes a sequence of a file into the terms of its camera.
void adopt(IdentifiedSequence& sequence, Draft& draft, const ReadSettings& settings) {
  RecordedCamera& camera = draft.camera;
  if (camera.picture.width == 0) {
    constexpr PictureSize kUsualPicture = {1920, 1080};
    const auto told = settings.picture ? settings.picture : sequence.picture;
    camera.inPixels = sequence.inPixels;
    camera.picture = told ? *told : sequence.inPixels ? pictureAround(sequence.rows) : kUsualPicture;
  }
  if (!sequence.inPixels) bringIntoPixels(sequence, camera.picture);
  std::vector<int> places;
  for (const std::string& each : sequence.labels) places.push_back(CameraDrafts::placeOf(draft, each));
  for (IdentifiedRow& each : sequence.rows) {
    if (each.label != IdentifiedRow::kNone) each.label = places[static_cast<std::size_t>(each.label)];
  }
  sequence.labels.clear();
  for (const auto& [frame, time] : sequence.timestamps) draft.timestamps.emplace(frame, time);
}

/// Files have confidences that are fractions, percent or anything.
void turnConfidencesIntoScores(std::vector<IdentifiedRow>& rows) {
  const auto isFraction = [](const IdentifiedRow& row) { return row.confidence >= 0.0 && row.confidence <= 1.0; };
  const float full = std::all_of(rows.begin(), rows.end(), isFraction) ? 100.0F : 1.0F;
  for (IdentifiedRow& each : rows) {
    if (!each.score) each.score = static_cast<float>(each.confidence) * full;
  }
}

/// When each frame was: as told, in between of those that are, and by the frame rate beyond them.
std::vector<double> secondsOf(const Draft& draft, double frameRate) {
  constexpr double kNanosecond = 1e-9;
  auto known = draft.timestamps;
  if (known.empty()) known[1] = 0;
  const auto seconds = [&](const auto& entry) {
    return static_cast<double>(entry.second - known.begin()->second) * kNanosecond;
  };
  const auto timeOf = [&](int frame) {
    const auto next = known.lower_bound(frame);
    if (next == known.begin()) return (frame - next->first) / frameRate;
    const auto& last = *std::prev(next);
    if (next == known.end()) return seconds(last) + (frame - last.first) / frameRate;
    const double share = static_cast<double>(frame - last.first) / (next->first - last.first);
    return seconds(last) + share * (seconds(*next) - seconds(last));
  };
  std::vector<double> times;
  for (int frame = 1; frame <= draft.camera.frameCount; ++frame) times.push_back(timeOf(frame) - timeOf(1));
  return times;
}

int lengthOf(const RecordedCamera& camera) {
  int length = std::max(camera.frameCount, static_cast<int>(camera.detections.size()));
  for (const RecordedTracks& each : camera.runs) length = std::max(length, lengthOf(each.sequence));
  return camera.truth ? std::max(length, lengthOf(*camera.truth)) : length;
}

class RecordingRun {
 public:
  RecordingRun(const RecordingOptions& recordingOptions, std::ostream& messages)
      : options(recordingOptions), read(options.track.read), tracking(options.track), err(messages) {
    tracking.debug = true;  // which tells of those who are lost
    tracking.explain = options.reasons;
    const ReportOptions& report = tracking.report;
    if (!report.tracks && !report.hold && !report.boxes) tracking.report = kAllReports;
    read.warn = [this](const std::string& what) { err << "warning: " << what << '\n'; };
  }

  Recording record() {
    trackInputs();
    for (const NamedTracks& each : options.tracks) addTracks(each);
    if (options.truth.isGiven()) addTruth();
    Recording recording;
    for (const std::string& each : complaints) recording.complaint += (recording.complaint.empty() ? "" : "; ") + each;
    for (Draft& each : drafts.all()) recording.cameras.push_back(finished(each));
    if (recording.cameras.empty() && !recording.complaint.empty()) throw FileError(recording.complaint);
    if (recording.cameras.empty()) throw FileError("there is nothing to be seen");
    return recording;
  }

 private:
  void trackInputs() {
    if (options.recipes.empty()) {
      for (const TrackInput& each : options.track.inputs) keepDetections(each, read, drafts);
    }
    for (std::size_t i = 0; i < options.recipes.size(); ++i) {
      const NamedRecipe& recipe = options.recipes[i];
      for (const TrackInput& each : options.track.inputs) {
        const Recorded recorded = {i == 0, options.reasons};
        auto recorder = std::make_unique<Recorder>(drafts, recipe.name, read.frameRate, recorded, options.zones);
        const std::string complaint = trackInput(each, tracking, recipe.recipe, std::move(recorder), err);
        if (i == 0 && !complaint.empty()) complaints.push_back(complaint);
      }
    }
  }

  void addTracks(const NamedTracks& tracks) {
    auto sequences = readIdentities(tracks.input, read);
    const bool isOnly = sequences.size() == 1;
    for (IdentifiedSequence& each : sequences) {
      Draft& draft = drafts.forSequence(each.name, isOnly);
      turnConfidencesIntoScores(each.rows);
      adopt(each, draft, read);
      RecordedTracks& run = draft.camera.runs.emplace_back();
      run.name = tracks.name;
      run.sequence = std::move(each);
    }
  }

  void addTruth() {
    auto truths = findTruths(options.truth, read);
    bool isUsed = false;
    for (TruthSource& each : truths) {
      Draft* const draft = drafts.find(each.name, truths.size() == 1);
      if (draft == nullptr) continue;
      isUsed = true;
      each.read(options.truth.format, read);
      RecordedCamera& camera = draft->camera;
      camera.preprocessing = options.preprocessing.value_or(usualPreprocessing(each.sequence));
      adopt(each.sequence, *draft, read);
      compare(camera, each.sequence);
      camera.truth = std::move(each.sequence);
    }
    if (!isUsed)
      throw FileError(fmt::format("no camera is called as the truth in {} is", shownName(options.truth.path)));
  }

  static void compare(RecordedCamera& camera, const IdentifiedSequence& truth) {
    for (RecordedTracks& each : camera.runs) {
      each.matching = matchSequences(truth, each.sequence, camera.preprocessing);
    }
  }

  static RecordedReasons reasonsOf(const Chronicle& chronicle, const RecordedTracks& run,
                                   const RecordedCamera& camera) {
    const Teller teller(chronicle);
    RecordedReasons reasons;
    for (const auto& [id, life] : chronicle.lives()) {
      for (Told& each : teller.life(id)) reasons.lives.push_back(std::move(each));
    }
    if (run.matching) reasons.switches = teller.switches(*camera.truth, run.sequence, *run.matching);
    return reasons;
  }

  RecordedCamera finished(Draft& draft) const {
    for (const auto& [place, chronicle] : draft.chronicles) {
      RecordedTracks& run = draft.camera.runs[place];
      run.reasons = reasonsOf(chronicle, run, draft.camera);
    }
    draft.chronicles.clear();
    draft.camera.frameCount = lengthOf(draft.camera);
    const auto isElsewhere = [&](const auto& each) { return !each.camera.empty() && each.camera != draft.camera.name; };
    auto& [zones, lines] = draft.camera.zones = options.zones;
    zones.erase(std::remove_if(zones.begin(), zones.end(), isElsewhere), zones.end());
    lines.erase(std::remove_if(lines.begin(), lines.end(), isElsewhere), lines.end());
    draft.camera.seconds = secondsOf(draft, read.frameRate.value_or(kUsualFrameRate));
    return std::move(draft.camera);
  }

  const RecordingOptions& options;
  ReadSettings read;
  TrackOptions tracking;
  std::ostream& err;
  CameraDrafts drafts;
  std::vector<std::string> complaints;
};

}  // namespace

const RecordedCamera& cameraNamed(const Recording& recording, const std::string& name) {
  const auto& cameras = recording.cameras;
  if (name.empty() && cameras.size() == 1) return cameras.front();
  const auto found = std::find_if(cameras.begin(), cameras.end(), [&](const auto& each) { return each.name == name; });
  if (found != cameras.end()) return *found;
  if (name.empty()) throw UsageError(fmt::format("there are {} cameras: give --camera NAME", cameras.size()));
  throw FileError(fmt::format("there is no camera {}", name));
}

Recording record(const RecordingOptions& options, std::ostream& err) { return RecordingRun(options, err).record(); }

}  // namespace nivra::hostkit
