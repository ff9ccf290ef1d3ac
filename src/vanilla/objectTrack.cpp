#include "nivra/vanilla/objectTrack.h"

#include <algorithm>
#include <cmath>

#include "core/boxGeometry.h"
#include "core/frameTime.h"
#include "core/labels.h"
#include "core/scoreOrder.h"
#include "core/trackReport.h"

namespace nivra::vanilla {

namespace {

constexpr float kMissedFrameLogLikelihood = -0.35667497F;  // ln 0.7
constexpr float kSmoothingTimeConstant = 0.45454544F;      // seconds

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
  if (advanceTime(timestamp)) boxFilter.predict(predictionInterval);
}

bool ObjectTrack::advanceTime(unsigned long long timestamp) {
  if (!isNewer(timestamp, predictionTimestamp)) return false;
  predictionInterval = secondsBetween(predictionTimestamp, timestamp);
  predictionTimestamp = timestamp;
  lastDetectionId = -1;
  return true;
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
  return passesGates(detection, labelAssociations, params->widthFactorGating);
}

bool ObjectTrack::passesGates(const ObjectDetection& detection, const LabelAssociations& labelAssociations,
                              float widthFactorLimit) const {
  if (!isAdmissible(labelAssociations, label, detection.label)) return false;

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
  if (widthFactorLimit < offsetX) return false;
  if (params->heightFactorGating < offsetY) return false;
  if (params->widthRelativeDiffGating < std::abs(detectionWidth / trackWidth - 1.0F)) return false;
  if (params->heightRelativeDiffGating < std::abs(detectionHeight / trackHeight - 1.0F)) return false;
  return boxFilter.canAssociate(detection.box);
}

void ObjectTrack::updateObjectnessScaling(const ObjectDetection& detection) {
  if (!(detection.objectness > 0.0F)) return;
  if (params->kalmanParams.objectnessClasses.count(label) == 0) return;
  if (!boxFilter.hasObjectnessSettings(detection.label)) return;
  boxFilter.setObservationNoise(detection.objectness / 100.0F, detection.score / 100.0F, detection.label);
}

void ObjectTrack::update(const ObjectDetection& detection, unsigned long long timestamp) {
  if (!beginUpdate(detection, timestamp)) return;
  updateClassInfo(detection);
  finishUpdate(detection);
}

bool ObjectTrack::beginUpdate(const ObjectDetection& detection, unsigned long long timestamp) {
  if (!isOfLatestPrediction(timestamp, predictionTimestamp)) return false;
  updateSmoothedObservationLogLikelihood(boxFilter.observationLogLikelihood(detection.box));
  if (smoothedObservationLogLikelihood > params->confidentLikelihoodThreshold) tentative = false;
  lastDetectionId = detection.id;
  attributeFilter.update(detection.attributes, params->scoreAbsorption);
  return true;
}

void ObjectTrack::finishUpdate(const ObjectDetection& detection) {
  updateObjectnessScaling(detection);
  boxFilter.update(detection.box);
}

std::string ObjectTrack::createStateString() const { return stateString(getClampedBox()); }

TrackedObjectDetection ObjectTrack::reportTrack() const {
  TrackedObjectDetection report = beginReport(id, boxFilter, score, label, attributeFilter);
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
