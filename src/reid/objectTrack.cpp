#include "nivra/reid/objectTrack.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "core/boxGeometry.h"
#include "core/frameTime.h"
#include "core/labels.h"
#include "core/scoreOrder.h"
#include "core/trackReport.h"
#include "reid/lifeRules.h"
#include "reid/pairRules.h"

namespace nivra::reid {

namespace {

/// Position of a quantile among `count` sorted values. A quantile that is not a number counts as 0, one beyond
/// the values as the nearest of them.
std::size_t quantileIndex(std::size_t count, float quantile) {
  const float last = static_cast<float>(count - 1);
  const float position = last * quantile;
  if (!(position > 0.0F)) return 0;
  return position < last ? static_cast<std::size_t>(position) : count - 1;
}

}  // namespace

ObjectTrack::ObjectTrack(const ObjectDetection& firstDetection, int trackId, unsigned long long timestamp,
                         const TrackerParams& trackerParams)
    : id(trackId),
      detection(&firstDetection),
      lastDetectionId(firstDetection.id),
      boxFilter(firstDetection.box, trackerParams.kalmanParams),
      score(firstDetection.score),
      label(firstDetection.label),
      creationTimestamp(timestamp),
      predictionTimestamp(timestamp),
      updateTimestamp(timestamp),
      params(&trackerParams),
      attributeFilter(firstDetection.attributes) {
  if (firstDetection.feature) addFeature(*firstDetection.feature);
}

void ObjectTrack::predict(unsigned long long timestamp) {
  TimeStep step;
  predict(timestamp, step);
}

void ObjectTrack::predict(unsigned long long timestamp, TimeStep& step) {
  if (!isNewer(timestamp, predictionTimestamp)) return;
  const float dt = secondsBetween(predictionTimestamp, timestamp);
  predictionTimestamp = timestamp;
  boxFilter.predict(stepOf(dt, step));
  detection = nullptr;
  lastDetectionId = -1;
}

void ObjectTrack::update(const ObjectDetection& newDetection, unsigned long long timestamp, bool storeFeature) {
  if (!isOfLatestPrediction(timestamp, predictionTimestamp)) return;
  score += (newDetection.score - score) * params->scoreAbsorption;
  attributeFilter.update(newDetection.attributes, params->scoreAbsorption);
  boxFilter.update(newDetection.box);
  if (storeFeature && newDetection.feature) addFeature(*newDetection.feature);

  if (state == TrackState::Inactive) reviveAttempts = 0;
  state = stateWithDetection(getLife(), timestamp, *params, Unheard());
  updateTimestamp = timestamp;
  detection = &newDetection;
  lastDetectionId = newDetection.id;
}

void ObjectTrack::emptyUpdate(unsigned long long timestamp) {
  const float decay = 1.0F - params->scoreAbsorption;
  score *= decay;
  attributeFilter.emptyUpdate(decay);
  boxFilter.emptyUpdate();
  state = stateWithoutDetection(getLife(), timestamp, *params, Unheard());
}

ObjectTrack::Life ObjectTrack::getLife() const {
  return {state, creationTimestamp, predictionTimestamp, updateTimestamp, reviveAttempts, features.size()};
}

bool ObjectTrack::hasAdmissibleLabel(const ObjectDetection& candidate,
                                     const LabelAssociations& labelAssociations) const {
  return isAdmissible(labelAssociations, label, candidate.label);
}

bool ObjectTrack::canAssociateKalman(const ObjectDetection& candidate) const {
  return boxFilter.canAssociate(candidate.box);
}

bool ObjectTrack::canAssociateCosts(const ObjectDetection& candidate, float iouDistance, float featureDistance) const {
  return isSimilar(candidate.feature && hasFeatures(), iouDistance, featureDistance, *params, Unheard());
}

bool ObjectTrack::canReviveCost(float cost) const { return isRevivable(cost, *params, Unheard()); }

unsigned long long ObjectTrack::getConfidentTrackExpiryAge() const {
  return isYoung(getLife(), *params, Unheard()) ? params->maxConfidentAge : params->expiryAge;
}

void ObjectTrack::registerReviveAttempt() { ++reviveAttempts; }

bool ObjectTrack::canGetConfidentId(unsigned long long timestamp) const {
  return isOldEnough(getLife(), timestamp, *params, Unheard());
}

void ObjectTrack::makeConfidentId(unsigned long long timestamp) {
  if (!canGetConfidentId(timestamp)) {
    throw std::runtime_error("Cannot make non-eligible track ConfidentID: " + std::to_string(id));
  }
  state = TrackState::ConfidentId;
}

float ObjectTrack::computeMinDistance(const std::vector<float>& feature) const {
  return minDistanceOf(Feature(feature));
}

float ObjectTrack::minDistanceOf(const Feature& feature) const {
  return features.empty() ? params->defaultCosineDistance : features.computeMinDistance(feature);
}

float ObjectTrack::computeIouDistance(const Box& box) const { return 1.0F - intersectionOverUnion(getBox(), box); }

float ObjectTrack::computeTrackTrackDistance(const ObjectTrack& other, Distance distance) const {
  const auto vectorAt = [](const FeatureGallery& gallery, std::size_t i) {
    const Feature feature = gallery[i];
    return std::vector<float>(feature.values, feature.values + feature.size);
  };
  std::vector<float> distances;
  distances.reserve(features.size() * other.features.size());
  for (std::size_t i = 0; i < features.size(); ++i) {
    for (std::size_t j = 0; j < other.features.size(); ++j) {
      distances.push_back(distance(vectorAt(features, i), vectorAt(other.features, j)));
    }
  }
  return reviveDistance(distances);
}

float ObjectTrack::computeTrackTrackDistance(const ObjectTrack& other) const {
  std::vector<float> distances(features.size() * other.features.size());
  for (std::size_t i = 0; i < features.size(); ++i) {
    other.features.computeDistances(features[i], distances.data() + i * other.features.size());
  }
  return reviveDistance(distances);
}

float ObjectTrack::reviveDistance(std::vector<float>& distances) const {
  if (distances.empty()) return params->defaultCosineDistance;
  const auto selected =
      distances.begin() + static_cast<std::ptrdiff_t>(quantileIndex(distances.size(), params->reviveQuantile));
  std::nth_element(distances.begin(), selected, distances.end(), ascending);
  return *selected;
}

void ObjectTrack::revive(ObjectTrack& other, unsigned long long timestamp) {
  if (other.detection == nullptr) {
    throw std::runtime_error("Tried to revive track " + std::to_string(id) +
                             " via track without associated detection " + std::to_string(other.id));
  }
  // First what may run out of memory, last what ends the other track.
  for (std::size_t i = 0; i < other.features.size(); ++i) features.add(other.features[i]);
  update(*other.detection, timestamp, false);
  boxFilter = other.boxFilter;
  other.state = TrackState::Expired;
}

void ObjectTrack::updateBox(const Box& box) { boxFilter.updateNoFilter(box); }

void ObjectTrack::addFeature(const std::vector<float>& feature) { features.add(Feature(feature)); }

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
  target.classifications.resize(1);
  target.classifications[0].label = label;
  target.classifications[0].score = score;
  target.confident = state == TrackState::Confident || state == TrackState::ConfidentId;
}

void ObjectTrack::report(TrackReport& target) const {
  report(target.track);
  target.detectionId = lastDetectionId;
}

void ObjectTrack::report(internal::DebugTrack& target) const {
  report(target.track);
  target.maxPositionDifferenceX = target.maxPositionDifferenceY = 0.0F;
  target.state = static_cast<std::int32_t>(state);
  target.lastDetectionId = lastDetectionId;
}

std::string ObjectTrack::createStateString() const { return stateString(getClampedBox()); }

float ObjectTrack::observationLikelihood(const ObjectDetection& /*candidate*/) const {
  throw std::logic_error("Function not yet implemented");
}

bool ObjectTrack::isReported() const {
  return state == TrackState::Tentative || state == TrackState::Confident || state == TrackState::ConfidentId;
}

Box ObjectTrack::getClampedBox() const { return clampedToPicture(boxFilter.getBox()); }

}  // namespace nivra::reid
