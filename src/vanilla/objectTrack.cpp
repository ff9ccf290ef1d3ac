#include "nivra/vanilla/objectTrack.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "core/boxGeometry.h"
#include "core/frameTime.h"
#include "core/labels.h"
#include "core/scoreOrder.h"
#include "core/trackReport.h"
#include "filters/filterGates.h"
#include "vanilla/boxGate.h"
#include "vanilla/lifeRules.h"

namespace nivra::vanilla {

namespace {

constexpr float kMissedFrameLogLikelihood = -0.35667497F;  // ln 0.7
constexpr float kSmoothingTimeConstant = 0.45454544F;      // seconds

// States of a debug report.
constexpr int kNotConfident = 1;
constexpr int kConfident = 2;

/// The score of a class, and whether it is new to the track and starts with this.
std::pair<float*, bool> scoreOf(const Classification& classification, std::vector<Classification>& classScores) {
  for (Classification& known : classScores) {  // few, and telling equal from different is cheaper than ordering
    if (areEqual(known.label, classification.label)) return {&known.score, false};
  }
  const auto isBefore = [](const Classification& a, const Classification& b) { return a.label < b.label; };
  const auto place = std::upper_bound(classScores.begin(), classScores.end(), classification, isBefore);
  return {&classScores.insert(place, classification)->score, true};
}

}  // namespace

ObjectTrack::ObjectTrack(const ObjectDetection& detection, int trackId, unsigned long long timestamp,
                         const TrackerParams& trackerParams)
    : ObjectTrack(detection, trackId, timestamp, trackerParams,
                  std::make_shared<const KalmanBoxParams>(trackerParams.kalmanParams)) {}

ObjectTrack::ObjectTrack(const ObjectDetection& detection, int trackId, unsigned long long timestamp,
                         const TrackerParams& trackerParams, std::shared_ptr<const KalmanBoxParams> filterParams)
    : id(trackId),
      lastDetectionId(-1),
      boxFilter(detection.box, std::move(filterParams)),
      score(detection.score),
      label(detection.label),
      predictionTimestamp(timestamp),
      params(&trackerParams),
      attributeFilter(detection.attributes) {
  for (const Classification& classification : detection.classifications) {
    *scoreOf(classification, classScores).first = classification.score;
  }
  updateObjectnessScaling(detection);
  lastDetectionId = detection.id;
}

void ObjectTrack::predict(unsigned long long timestamp) {
  TimeStep step;
  predict(timestamp, step);
}

void ObjectTrack::predict(unsigned long long timestamp, TimeStep& step,
                          const std::array<float, 4>& processNoiseScales) {
  if (!isNewer(timestamp, predictionTimestamp)) return;
  predictionInterval = secondsBetween(predictionTimestamp, timestamp);
  predictionTimestamp = timestamp;
  lastDetectionId = -1;
  // Needed at the end of the frame; fetched from far away when many trackers take turns.
  __builtin_prefetch(classScores.data());
  boxFilter.predict(stepOf(predictionInterval, step), processNoiseScales);
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
  for (Classification& entry : classScores) entry.score *= decay;
  boxFilter.emptyUpdate();
}

bool ObjectTrack::isExpired() const { return !survives(smoothedObservationLogLikelihood, *params, Unheard()); }

bool ObjectTrack::isConfident() const {
  return vanilla::isConfident(smoothedObservationLogLikelihood, *params, Unheard());
}

void ObjectTrack::updateClassInfo(const ObjectDetection& detection) {
  for (const Classification& classification : detection.classifications) {
    const auto [classScore, isNew] = scoreOf(classification, classScores);
    if (!isNew) *classScore += (classification.score - *classScore) * params->scoreAbsorption;
  }
  const auto best = std::max_element(classScores.begin(), classScores.end(),
                                     [](const auto& a, const auto& b) { return a.score < b.score; });
  if (best == classScores.end()) return;
  if (!areEqual(label, best->label)) label = best->label;  // rarely, and telling costs less than copying
  score = best->score;
}

void ObjectTrack::updateBox(const Box& box) { boxFilter.updateNoFilter(box); }

bool ObjectTrack::canAssociate(const ObjectDetection& detection, const LabelAssociations& labelAssociations) const {
  return canAssociate(detection, labelAssociations, params->widthFactorGating);
}

bool ObjectTrack::canAssociate(const ObjectDetection& detection, const LabelAssociations& labelAssociations,
                               float widthFactorLimit) const {
  if (!isAdmissible(labelAssociations, label, detection.label)) return false;

  const auto measurement = KalmanBoxFilter::measure(detection.box);
  return BoxGate(boxFilter, *params).accepts(measurement, {widthFactorLimit}, Unheard()) &&
         isNearPrediction(boxFilter, measurement, Unheard());
}

void ObjectTrack::updateObjectnessScaling(const ObjectDetection& detection) {
  if (!(detection.objectness > 0.0F)) return;
  if (params->kalmanParams.objectnessClasses.count(label) == 0) return;
  if (!boxFilter.hasObjectnessSettings(detection.label)) return;
  boxFilter.setObservationNoise(detection.objectness / 100.0F, detection.score / 100.0F, detection.label);
}

void ObjectTrack::update(const ObjectDetection& detection, unsigned long long timestamp) {
  if (!isOfLatestPrediction(timestamp, predictionTimestamp)) return;
  updateSmoothedObservationLogLikelihood(boxFilter.observationLogLikelihood(detection.box));
  if (isConfirmed(smoothedObservationLogLikelihood, *params, Unheard())) tentative = false;
  lastDetectionId = detection.id;
  attributeFilter.update(detection.attributes, params->scoreAbsorption);
  updateClassInfo(detection);
  updateObjectnessScaling(detection);
  boxFilter.update(detection.box);
}

std::string ObjectTrack::createStateString() const { return stateString(getClampedBox()); }

TrackedObjectDetection ObjectTrack::reportTrack() const {
  TrackedObjectDetection target;
  report(target);
  return target;
}

internal::DebugTrack ObjectTrack::reportDebugTrack() const {
  internal::DebugTrack target;
  report(target);
  return target;
}

void ObjectTrack::report(TrackedObjectDetection& target) const {
  beginReport(target, id, boxFilter, score, label, attributeFilter);
  target.classifications = classScores;
  std::sort(target.classifications.begin(), target.classifications.end(), [](const auto& a, const auto& b) {
    if (descending(a.score, b.score)) return true;
    return !descending(b.score, a.score) && a.label < b.label;
  });
  target.confident = isConfident();
}

void ObjectTrack::report(TrackReport& target) const {
  report(target.track);
  target.detectionId = lastDetectionId;
}

void ObjectTrack::report(internal::DebugTrack& target) const {
  report(target.track);
  const Point maxPositionDifference = boxFilter.getMaxPositionDifference();
  target.maxPositionDifferenceX = maxPositionDifference.x;
  target.maxPositionDifferenceY = maxPositionDifference.y;
  target.state = target.track.confident ? kConfident : kNotConfident;
  target.lastDetectionId = lastDetectionId;
}

Box ObjectTrack::getClampedBox() const { return clampedToPicture(boxFilter.getBox()); }

}  // namespace nivra::vanilla
