#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nivra/nivra.h"

namespace nivra::test {

constexpr std::uint64_t kSecond = 1'000'000'000;
constexpr std::uint64_t kFrame = 40'000'000;  // 25 frames per second

inline Box boxAt(float x, float y, float width, float height) {
  return {x - width / 2, y + height / 2, x + width / 2, y - height / 2};
}

inline ObjectDetection detectionOf(const Box& box, const std::string& label = "human", int id = 0) {
  ObjectDetection detection;
  detection.box = box;
  detection.label = label;
  detection.score = 90.0F;
  detection.classifications = {{label, 90.0F}};
  detection.id = id;
  return detection;
}

inline const LabelAssociations kHumansAndCars = {{"human", {"human"}}, {"car", {"car"}}};

inline vanilla::TrackerParams vanillaParams(ParameterMap params = {}) {
  return parseParameters(params, parseVanillaParameters, 1.0F);
}

inline std::vector<int> idsOf(const std::vector<TrackedObjectDetection>& tracks) {
  std::vector<int> ids;
  for (const TrackedObjectDetection& track : tracks) ids.push_back(track.id);
  return ids;
}

/// Everything that a report holds, as bytes that differ whenever any of it does.
inline std::string fingerprint(const std::vector<internal::DebugTrack>& tracks) {
  std::string bytes;
  const auto add = [&bytes](const auto& value) { bytes.append(reinterpret_cast<const char*>(&value), sizeof value); };
  for (const internal::DebugTrack& debug : tracks) {
    const TrackedObjectDetection& track = debug.track;
    add(track.id);
    add(track.box);
    add(track.velocityX);
    add(track.velocityY);
    add(track.score);
    bytes += track.label + '\n';
    for (const auto& attribute : track.attributes) add(attribute);
    for (const auto& classification : track.classifications) {
      bytes += classification.label + '\n';
      add(classification.score);
    }
    add(track.confident);
    add(debug.maxPositionDifferenceX);
    add(debug.maxPositionDifferenceY);
    add(debug.state);
    add(debug.lastDetectionId);
  }
  return bytes;
}

}  // namespace nivra::test
