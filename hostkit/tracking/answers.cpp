#include "hostkit/tracking/answers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>
#include <variant>

#include "hostkit/errors.h"

namespace nivra::hostkit {

namespace {

constexpr double kUsualFrameRate = 25.0;

std::uint64_t frameDurationAt(double frameRate) { return static_cast<std::uint64_t>(std::llround(1e9 / frameRate)); }

void dropUnsure(FrameTracks& result) {
  const auto isUnsure = [](const TrackReport& report) { return !report.track.confident; };
  result.tracks.erase(std::remove_if(result.tracks.begin(), result.tracks.end(), isUnsure), result.tracks.end());
}

}  // namespace

LabelAssociations associationsOf(const AnswerOptions& options, const std::optional<std::set<std::string>>& known) {
  LabelAssociations associations = options.associations;
  const auto complete = [&](const std::string& label) { associations.try_emplace(label, std::set{label}); };
  for (const auto& [label, taken] : options.associations) std::for_each(taken.begin(), taken.end(), complete);
  for (const std::string& label : options.labels) associations[label].insert(label);
  if (!options.labels.empty()) return associations;
  if (known) {
    std::for_each(known->begin(), known->end(), complete);
  } else if (associations.empty()) {
    complete(options.read.label);
  }
  return associations;
}

Answers::Answers(const AnswerOptions& answerOptions, const TrackerRecipe& recipe, LabelAssociations associations,
                 const Format& format)
    : options(answerOptions),
      cameras(recipe, std::move(associations), options.mostIdle, options.debug, options.stabilise),
      writer(format.writeTracks({options.read.frameRate, std::nullopt, options.debug})),
      frameDuration(frameDurationAt(options.read.frameRate.value_or(kUsualFrameRate))) {}

const Answers::Notice& Answers::take(Record& record, std::uint64_t line) {
  now = Cameras::Clock::now();
  currentLine = line;
  notice = {};
  words.clear();
  if (options.mostIdle) writer->dropped(cameras.dropIdle(now));
  try {
    std::visit([this](auto& each) { takeEach(each); }, record);
  } catch (const std::bad_alloc&) {
    record = BadLine();  // lets go of what the frame took
    result = {};
    words = {};
    notice = {};
    refuse("", kNoMemory);
  }
  return notice;
}

void Answers::takeEach(Frame& frame) {
  if (frame.detections.size() > options.mostDetections) {
    return refuse("detections", fmt::format("{} detections, but --max-detections allows {}", frame.detections.size(),
                                            options.mostDetections));
  }
  const auto start = Cameras::Clock::now();
  if (const auto refusal = cameras.update(frame, frameDuration, now, result)) {
    return refuse(refusal->field, refusal->message);
  }
  notice.updateTime = Cameras::Clock::now() - start;
  if (options.confidentOnly) dropUnsure(result);
  writer->frame(frame, result, words);
  notice.tracked = &frame;
}

void Answers::takeEach(const CameraMotion& motion) {
  cameras.at(motion.camera, motion.picture, now).move(motion);
  writer->motion(motion, words);
}

void Answers::takeEach(const CameraEnd& end) { writer->end(end, cameras.end(end.camera), words); }

void Answers::takeEach(const BadLine& fault) {
  notice.fault = fault;
  notice.hasPlace = currentLine > 0 && writer->fault(fault, words);
}

void Answers::refuse(const std::string& field, const std::string& what) { takeEach(BadLine{currentLine, field, what}); }

}  // namespace nivra::hostkit
