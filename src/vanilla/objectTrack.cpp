#include "nivra/vanilla/objectTrack.h"

#include <algorithm>
#include <cmath>

#include "core/boxGeometry.h"
#include "core/faultReport.h"
#include "core/scoreOrder.h"

namespace nivra::vanilla {

namespace {

constexpr float kMissedFrameLogLikelihood = -0.35667497F;  // ln 0.7
constexpr float kSmoothingTimeConstant = 0.45454544F;      // seconds
constexpr double kNanosecondsPerSecond = 1e9;

// States of a debug report.
constexpr int kNotConfident = 1;
constexpr int kConfident = 2;

}  // namespace

ObjectTrack::ObjectTrack(const ObjectDetection& detection, int trackId, unsigned long long timestamp,
                         const TrackerParams& trackerParams)
    : id(trackId),
      lastDetectionId(-1),
      boxFilter(detection.box, trackerParams.kalmanParams),
      score(detection.score),
      label(detection.label),
      predictionTimestamp(timestamp),
      params(&trackerParams),
      attributeFilter(detection.attributes) {
  for (const Classification& classification : detection.classifications) {
    classScores[classification.label] = classification.score;
  }
  updateObjectnessScaling(detection);
  lastDetectionId = detection.id;
}

void ObjectTrack::predict(unsigned long long timestamp) {
  if (timestamp <= predictionTimestamp) {
    reportFault("The prediction timestamp should be newer than the last prediction");
    return;
  }
  predictionInterval = static_cast<float>(static_cast<double>(timestamp - predictionTimestamp) / kNanosecondsPerSecond);
  predictionTimestamp = timestamp;
  boxFilter.predict(predictionInterval);
  lastDetectionId = -1;
}

float ObjectTrack::observationLikelihood(const ObjectDetection& detection) const {
  return boxFilter.observationLikelihood(detection.box);
}

void ObjectTrack::updateSmoothedObservationLogLikelihood(float logLikelihood) {
  // Not capped: an interval longer than the time constant overshoots.
  smoothedObservationLogLikelihood +=
      (predictionInterval / kSmoothingTimeConstant) * (logLikelihood - smoothedObservationLogLikelihood);
}

void ObjectTrack::emptyUpdate() {
  updateSmoothedObservationLogLikelihood(kMissedFrameLogLikelihood);
  const float decay = 1.0F - params->scoreAbsorption;
  score *= decay;
  attributeFilter.emptyUpdate(decay);
  for (auto& [classLabel, classScore] : classScores) classScore *= decay;
  boxFilter.emptyUpdate();
}

bool ObjectTrack::isExpired() const { return smoothedObservationLogLikelihood < params->expirationLikelihoodThreshold; }

bool ObjectTrack::isConfident() const {
  return !(smoothedObservationLogLikelihood < params->confidentLikelihoodThreshold);
}

void ObjectTrack::updateClassInfo(const ObjectDetection& detection) {
  for (const Classification& classification : detection.classifications) {
    const auto [entry, isNew] = classScores.try_emplace(classification.label, classification.score);
    if (!isNew) entry->second += (classification.score - entry->second) * params->scoreAbsorption;
  }
  const auto best = std::max_element(classScores.begin(), classScores.end(),
                                     [](const auto& a, const auto& b) { return a.second < b.second; });
  if (best == classScores.end()) return;
  label = best->first;
  score = best->second;
}

void ObjectTrack::updateBox(const Box& box) { boxFilter.updateNoFilter(box); }

bool ObjectTrack::canAssociate(const ObjectDetection& detection, const LabelAssociations& labelAssociations) const {
  const auto admissible = labelAssociations.find(label);
  if (admissible == labelAssociations.end() || admissible->second.count(detection.label) == 0) return false;

  // Each gate is written so that a value that is not a number passes; the filter's gate refuses it.
  const Box box = getClampedBox();
  const Point offsetFrom = center(box);
  const Point offsetTo = center(detection.box);
  const float trackWidth = width(box);
  const float trackHeight = height(box);
  const float detectionWidth = width(detection.box);
  const float detectionHeight = height(detection.box);
  const float offsetX = std::abs(offsetTo.x - offsetFrom.x) / std::min(trackWidth, detectionWidth);
  const float offsetY = std::abs(offsetTo.y - offsetFrom.y) / std::min(trackHeight, detectionHeight);
  if (params->widthFactorGating < offsetX) return false;
  if (params->heightFactorGating < offsetY) return false;
  if (params->widthRelativeDiffGating < std::abs(detectionWidth / trackWidth - 1.0F)) return false;
  if (params->heightRelativeDiffGating < std::abs(detectionHeight / trackHeight - 1.0F)) return false;
  return boxFilter.canAssociate(detection.box);
}

void ObjectTrack::updateObjectnessScaling(const ObjectDetection& detection) {
  if (!(detection.objectness > 0.0F)) return;
  const auto& classes = params->kalmanParams.objectnessClasses;
  if (classes.count(label) == 0 || classes.count(detection.label) == 0) return;
  boxFilter.setObservationNoise(detection.objectness / 100.0F, detection.score / 100.0F, detection.label);
}

void ObjectTrack::update(const ObjectDetection& detection, unsigned long long timestamp) {
  if (timestamp != predictionTimestamp) {
    reportFault("The detection does not have the same timestamp as the latest prediction");
    return;
  }
  updateSmoothedObservationLogLikelihood(boxFilter.observationLogLikelihood(detection.box));
  if (smoothedObservationLogLikelihood > params->confidentLikelihoodThreshold) tentative = false;
  lastDetectionId = detection.id;
  attributeFilter.update(detection.attributes, params->scoreAbsorption);
  updateClassInfo(detection);
  updateObjectnessScaling(detection);
  boxFilter.update(detection.box);
}

std::string ObjectTrack::createStateString() const {
  const Box box = getClampedBox();
  return "{bottom=" + std::to_string(box.bottom) + ", left=" + std::to_string(box.left) +
         ", top=" + std::to_string(box.top) + ", right=" + std::to_string(box.right) + "}";
}

TrackedObjectDetection ObjectTrack::reportTrack() const {
  TrackedObjectDetection report;
  report.id = id;
  report.box = getClampedBox();
  const Point velocity = boxFilter.getVelocity();
  report.velocityX = velocity.x;
  report.velocityY = velocity.y;
  report.score = score;
  report.label = label;
  report.attributes = attributeFilter.report();
  for (const auto& [classLabel, classScore] : classScores) report.classifications.push_back({classLabel, classScore});
  // Stable, so that equal scores keep the ascending order of their labels.
  std::stable_sort(report.classifications.begin(), report.classifications.end(),
                   [](const auto& a, const auto& b) { return descending(a.score, b.score); });
  report.confident = isConfident();
  return report;
}

internal::DebugTrack ObjectTrack::reportDebugTrack() const {
  internal::DebugTrack report;
  report.track = reportTrack();
  const Point maxPositionDifference = boxFilter.getMaxPositionDifference();
  report.maxPositionDifferenceX = maxPositionDifference.x;
  report.maxPositionDifferenceY = maxPositionDifference.y;
  report.state = report.track.confident ? kConfident : kNotConfident;
  report.lastDetectionId = lastDetectionId;
  return report;
}

Box ObjectTrack::getClampedBox() const { return clampedToPicture(boxFilter.getBox()); }

}  // namespace nivra::vanilla
