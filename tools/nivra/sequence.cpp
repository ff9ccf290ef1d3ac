#include "sequence.h"

#include <algorithm>
#include <utility>

#include "frameTimes.h"

namespace nivra::tool {

namespace {

/// How many percent a confidence of 1 stands for: detectors write fractions, percent or scores of their own.
float percentPerConfidence(const std::vector<FrameDetection>& detections) {
  const bool fractions = std::all_of(detections.begin(), detections.end(), [](const FrameDetection& each) {
    return each.detection.score >= 0.0F && each.detection.score <= 1.0F;
  });
  return fractions ? 100.0F : 1.0F;
}

}  // namespace

void finishSequence(Sequence& sequence) {
  auto& detections = sequence.detections;
  sequence.percentPerConfidence = percentPerConfidence(detections);
  for (auto& [frame, detection] : detections) {
    detection.score *= sequence.percentPerConfidence;
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
  frame.camera = camera;
  ++framesRead;
  frame.timestamp = timestampOf(framesRead, sequence.frameRate);
  frame.picture = sequence.picture;
  frame.percentPerConfidence = sequence.percentPerConfidence;
  for (; position < sequence.detections.size(); ++position) {
    auto& [number, detection] = sequence.detections[position];
    if (number != framesRead) break;
    detection.id = static_cast<std::int32_t>(frame.detections.size());
    frame.detections.push_back(std::move(detection));
  }
  return true;
}

std::optional<double> SequenceReader::progress() const {
  return sequence.frameCount == 0 ? 1.0 : framesRead / static_cast<double>(sequence.frameCount);
}

}  // namespace nivra::tool
