#include "hostkit/formats/sequence.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/formats/frameTimes.h"

namespace nivra::hostkit {

namespace {

constexpr float kFullScore = 100.0F;  // percent

/// Detectors write fractions, percent or scores of their own.
ScoreUnit guessUnit(const std::vector<FrameDetection>& detections, const std::string& input,
                    const ReadSettings& settings) {
  const auto other = std::find_if(detections.begin(), detections.end(), [](const FrameDetection& each) {
    return each.hasScore && !(each.detection.score >= 0.0F && each.detection.score <= 1.0F);
  });
  if (other == detections.end()) return ScoreUnit::fraction;
  settings.warn(
      fmt::format("scores are taken as percent, for there is one of {:.6g}; --scores tells what they are ({})",
                  other->detection.score, shownName(input)));
  return ScoreUnit::percent;
}

}  // namespace

void Sequence::add(int frame, const PixelBox& box, std::string label, std::optional<double> score) {
  FrameDetection& entry = detections.emplace_back();
  entry.frame = frame;
  entry.hasScore = score.has_value();
  entry.detection.box = toNormalised(box, picture);
  entry.detection.label = std::move(label);
  entry.detection.score = static_cast<float>(score.value_or(0.0));
}

Sequence outlineOf(const std::string& input, const ReadSettings& settings, bool hasTimes) {
  if (hasTimes && !settings.picture) throw UsageError(shownName(input) + " says no picture size: give --picture WxH");
  if (!settings.picture || (!settings.frameRate && !hasTimes)) {
    throw UsageError(
        fmt::format("{} says neither picture size nor frame rate: give --picture WxH and --fps F", shownName(input)));
  }
  Sequence outline;
  outline.picture = *settings.picture;
  outline.frameRate = settings.frameRate.value_or(0.0);
  return outline;
}

void finishSequence(Sequence& sequence, const std::string& input, const ReadSettings& settings) {
  auto& detections = sequence.detections;
  const ScoreUnit unit = settings.scores ? *settings.scores : guessUnit(detections, input, settings);
  sequence.percentPerConfidence = unit == ScoreUnit::fraction ? kFullScore : 1.0F;
  for (auto& [frame, detection, hasScore] : detections) {
    detection.score = hasScore ? detection.score * sequence.percentPerConfidence : kFullScore;
    detection.classifications = {{detection.label, detection.score}};
  }
  std::stable_sort(detections.begin(), detections.end(),
                   [](const FrameDetection& a, const FrameDetection& b) { return a.frame < b.frame; });
  if (!detections.empty()) sequence.frameCount = std::max(sequence.frameCount, detections.back().frame);
}

SequenceReader::SequenceReader(std::string cameraName, Sequence readSequence)
    : camera(std::move(cameraName)), sequence(std::move(readSequence)) {}

bool SequenceReader::read(Record& record) {
  if (framesRead == sequence.frameCount) return false;
  Frame& frame = record.emplace<Frame>();
  const auto& cameras = sequence.cameras;
  while (cameraAt < cameras.size() && framesRead == framesBefore + cameras[cameraAt].count) {
    framesBefore += cameras[cameraAt++].count;
  }
  const bool isNamed = cameraAt < cameras.size() && !cameras[cameraAt].camera.empty();
  frame.camera = isNamed ? cameras[cameraAt].camera : camera;
  ++framesRead;
  frame.timestamp = sequence.timestamps.empty() ? timestampOf(framesRead - framesBefore, sequence.frameRate)
                                                : sequence.timestamps[static_cast<std::size_t>(framesRead) - 1];
  frame.picture = sequence.picture;
  frame.percentPerConfidence = sequence.percentPerConfidence;
  for (; position < sequence.detections.size(); ++position) {
    auto& [number, detection, hasScore] = sequence.detections[position];
    if (number != framesRead) break;
    detection.id = static_cast<std::int32_t>(frame.detections.size());
    frame.detections.push_back(std::move(detection));
  }
  return true;
}

std::optional<double> SequenceReader::progress() const {
  return sequence.frameCount == 0 ? 1.0 : framesRead / static_cast<double>(sequence.frameCount);
}

}  // namespace nivra::hostkit
