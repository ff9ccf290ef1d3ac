#include "nivra/vanillaLowFps/objectTrack.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "vanillaLowFps/widthFactorLimit.h"

namespace nivra::vanillaLowFps {

namespace {

// Speeds are picture units per second.
constexpr float kFastHorizontalSpeed = 0.3F;
constexpr float kFastVerticalSpeed = 0.2F;
constexpr float kFastProcessNoiseFactor = 6.0F;

bool isFastHorizontally(const Point& velocity) { return std::abs(velocity.x) > kFastHorizontalSpeed; }
bool isFastVertically(const Point& velocity) { return std::abs(velocity.y) > kFastVerticalSpeed; }

constexpr float kSureVehicleScore = 65.0F;  // percent
constexpr float kSecondVehicleDivisor = 3.0F;

constexpr std::array<const char*, 3> kVehicleClasses = {"bus", "car", "truck"};

bool isVehicle(const std::string& label) {
  return std::find(kVehicleClasses.begin(), kVehicleClasses.end(), label) != kVehicleClasses.end();
}

}  // namespace

ObjectTrack::ObjectTrack(const ObjectDetection& detection, int trackId, unsigned long long timestamp,
                         const vanilla::TrackerParams& trackerParams)
    : track(detection, trackId, timestamp, trackerParams) {}

ObjectTrack::ObjectTrack(const ObjectDetection& detection, int trackId, unsigned long long timestamp,
                         const vanilla::TrackerParams& trackerParams,
                         std::shared_ptr<const KalmanBoxParams> filterParams)
    : track(detection, trackId, timestamp, trackerParams, std::move(filterParams)) {}

void ObjectTrack::predict(unsigned long long timestamp, bool useVelocityNoise) {
  TimeStep step;
  predict(timestamp, useVelocityNoise, step);
}

void ObjectTrack::predict(unsigned long long timestamp, bool useVelocityNoise, TimeStep& step) {
  track.predict(timestamp, step, processNoiseFactors(useVelocityNoise));
}

std::vector<float> ObjectTrack::getProcessNoiseFactors(bool useVelocityNoise) const {
  const auto factors = processNoiseFactors(useVelocityNoise);
  return {factors.begin(), factors.end()};
}

std::array<float, 4> ObjectTrack::processNoiseFactors(bool useVelocityNoise) const {
  if (!useVelocityNoise) return {1.0F, 1.0F, 1.0F, 1.0F};
  const Point velocity = track.getBoxFilter().getVelocity();
  const float x = isFastHorizontally(velocity) ? kFastProcessNoiseFactor : 1.0F;
  const float y = isFastVertically(velocity) ? kFastProcessNoiseFactor : 1.0F;
  return {x, y, y, y};
}

bool ObjectTrack::isFast() const {
  const Point velocity = track.getBoxFilter().getVelocity();
  return isFastHorizontally(velocity) || isFastVertically(velocity);
}

bool ObjectTrack::canAssociate(const ObjectDetection& detection, const LabelAssociations& labelAssociations) const {
  return track.canAssociate(detection, labelAssociations, widthFactorLimit(track.getParams(), detection.label).widths);
}

void ObjectTrack::updateClassInfo(const ObjectDetection& detection) {
  track.updateClassInfo(detection);
  addVehicleBonus();
}

void ObjectTrack::addVehicleBonus() {
  const std::string& label = track.getLabel();
  const std::vector<Classification>& classScores = track.getClassScores();
  if (classScores.size() < 2 || !isVehicle(label)) return;

  const float bestScore = track.getScore();
  const Classification* second = nullptr;
  for (const Classification& entry : classScores) {
    if (entry.label == label) continue;
    if (second == nullptr || entry.score > second->score) second = &entry;
  }
  if (bestScore < kSureVehicleScore && isVehicle(second->label)) {
    track.setScore(bestScore + second->score / kSecondVehicleDivisor);
  }
}

void ObjectTrack::update(const ObjectDetection& detection, unsigned long long timestamp) {
  const bool isTaken = timestamp == track.getPredictionTimestamp();
  track.update(detection, timestamp);
  if (isTaken) addVehicleBonus();
}

}  // namespace nivra::vanillaLowFps
