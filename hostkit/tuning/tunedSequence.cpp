#include "hostkit/tuning/tunedSequence.h"

#include <fmt/format.h>

#include <set>
#include <utility>
#include <variant>

#include "hostkit/errors.h"
#include "hostkit/evaluation/inputs.h"
#include "hostkit/evaluation/sequenceMatching.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/frameTimes.h"

namespace nivra::hostkit {

TunedSequence::TunedSequence(const TunedInput& input, const AnswerOptions& options,
                             std::optional<Preprocessing> preprocessing)
    : sequenceName(nameOf(input.path)), policy(policyOf(options.report, true)) {
  std::set<std::string> labels;
  std::set<std::string> cameras;
  const auto reader = input.read(options.read);
  for (Record record; reader->read(record);) {
    if (const auto* const fault = std::get_if<BadLine>(&record)) {
      failAt(input.path, static_cast<int>(reader->line()), fault->field, fault->message);
    }
    if (auto* const frame = std::get_if<Frame>(&record)) {
      for (const ObjectDetection& each : frame->detections) labels.insert(each.label);
      cameras.insert(frame->camera);
      picture = frame->picture;
      ++frames;
    }
    if (!std::holds_alternative<CameraEnd>(record)) records.push_back(std::move(record));
  }
  if (cameras.size() > 1) throw FileError(fmt::format("{} holds several cameras", input.path));
  settings = cameraSettingsOf(options, associationsOf(options, labels), true);
  frameRate = options.read.frameRate;

  auto truths = findTruths(input.truth, options.read);
  if (truths.size() > 1) throw FileError(fmt::format("{} holds the truth of several sequences", input.truth.path));
  truths.front().read(input.truth.format, options.read);
  const IdentifiedSequence& people = truths.front().sequence;
  if (people.inPixels != picture.has_value()) {
    throw FileError(fmt::format("of {} and its truth, only one is in pixels: give --picture WxH", input.path));
  }
  truthFrames = occupiedFrames(people);
  truth.emplace_back(truthFramesOf(people, preprocessing.value_or(usualPreprocessing(people)), ""));
}

Figures TunedSequence::evaluate(const TrackerRecipe& recipe) const {
  Cameras cameras(recipe, settings);
  ReportStep reports(policy);
  struct Answer {
    std::uint64_t timestamp = 0;
    FrameTracks tracks;
  };
  std::vector<Answer> answers;
  answers.reserve(frames);
  Frame frame;  // trackers mark and reorder detections
  for (const Record& record : records) {
    if (const auto* const motion = std::get_if<CameraMotion>(&record)) {
      cameras.take(*motion, {});
      continue;
    }
    frame = std::get<Frame>(record);
    FrameTracks& tracks = answers.emplace_back().tracks;
    if (const auto refusal = cameras.take(frame, {}, tracks)) {
      throw FileError(
          fmt::format("{} ({}, frame {}, {})", refusal->message, sequenceName, answers.size(), refusal->field));
    }
    answers.back().timestamp = *frame.timestamp;
    reports.chooseBoxes(frame.detections, tracks);
    reports.learn(*frame.timestamp, tracks);
  }

  FrameNumbering numbering(frameRate, std::nullopt);
  IdentifiedSequence told;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    reports.apply(answers[i].timestamp, answers[i].tracks);
    addRows(numbering.next(answers[i].timestamp), answers[i].tracks.tracks, told);
  }
  return hostkit::evaluate(truth.front(), trackFramesOf(told, truthFrames, ""));
}

void TunedSequence::addRows(int number, const std::vector<TrackReport>& reports, IdentifiedSequence& tracks) const {
  for (const TrackReport& report : reports) {
    const IdentifiedRow row = rowOf(report.track, number, picture);
    if (hasArea(row.identified.box)) tracks.rows.push_back(row);
  }
}

}  // namespace nivra::hostkit
