#include "nivra/vanillaLowFps/objectTrack.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/labels.h"

namespace nivra::vanillaLowFps {

namespace {

// Speeds are picture units per second.
constexpr float kFastHorizontalSpeed = 0.3F;
constexpr float kFastVerticalSpeed = 0.2F;
constexpr float kFastProcessNoiseFactor = 6.0F;

constexpr float kPersonWidthFactorLimit = 1.7F;

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

void ObjectTrack::predict(unsigned long long timestamp, bool useVelocityNoise) {
  if (track.advanceTime(timestamp)) {
    track.boxFilter.predict(track.predictionInterval, getProcessNoiseFactors(useVelocityNoise));
  }
}

std::vector<float> ObjectTrack::getProcessNoiseFactors(bool useVelocityNoise) const {
  if (!useVelocityNoise) return {1.0F, 1.0F, 1.0F, 1.0F};
  const Point velocity = track.boxFilter.getVelocity();
  const float x = std::abs(velocity.x) > kFastHorizontalSpeed ? kFastProcessNoiseFactor : 1.0F;
  const float y = std::abs(velocity.y) > kFastVerticalSpeed ? kFastProcessNoiseFactor : 1.0F;
  return {x, y, y, y};
}

bool ObjectTrack::canAssociate(const ObjectDetection& detection, const LabelAssociations& labelAssociations) const {
  const float limit = detection.label == kPersonLabel ? kPersonWidthFactorLimit : track.params->widthFactorGating;
  return track.passesGates(detection, labelAssociations, limit);
}

void ObjectTrack::updateClassInfo(const ObjectDetection& detection) {
  track.updateClassInfo(detection);
  if (track.classScores.size() < 2 || !isVehicle(track.label)) return;

  const auto best = track.classScores.find(track.label);
  auto second = track.classScores.end();
  for (auto entry = track.classScores.begin(); entry != track.classScores.end(); ++entry) {
    if (entry == best) continue;
    if (second == track.classScores.end() || entry->second > second->second) second = entry;
  }
  if (best->second < kSureVehicleScore && isVehicle(second->first)) {
    track.score = best->second + second->second / kSecondVehicleDivisor;
  }
}

void ObjectTrack::update(const ObjectDetection& detection, unsigned long long timestamp) {
  if (!track.beginUpdate(detection, timestamp)) return;
  updateClassInfo(detection);
  track.finishUpdate(detection);
}

}  // namespace nivra::vanillaLowFps
