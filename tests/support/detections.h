#pragma once

#include <cstdint>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "nivra/nivra.h"

namespace nivra::test {

constexpr std::uint64_t kSecond = 1'000'000'000;
constexpr std::uint64_t kFrame = 40'000'000;  // 25 frames per second

inline const LabelAssociations kHumansAndCars = {{"human", {"human"}}, {"car", {"car"}}};

inline Box boxAt(float x, float y, float width = 0.2F, float height = 0.4F) {
  return {x - width / 2, y + height / 2, x + width / 2, y - height / 2};
}

inline ObjectDetection detectionOf(const Box& box, const std::string& label = "human", int id = 0) {
  return {box, 90.0F, label, {}, {{label, 90.0F}}, {}, 0.0F, id, false};
}

/// A person with an appearance, or without one if the feature is empty.
inline ObjectDetection person(const Box& box, std::vector<float> feature) {
  ObjectDetection detection = detectionOf(box);
  if (!feature.empty()) detection.feature = std::move(feature);
  return detection;
}

inline vanilla::TrackerParams vanillaParams(ParameterMap params = {}) { return parseVanillaParameters(params, 1.0F); }
inline vanilla::TrackerParams lowFpsParams(ParameterMap params = {}) { return parseVanillaLowFpsParameters(params, 1); }
inline reid::TrackerParams reidParams(ParameterMap params = {}, float aspect = 1) {
  return parseReidParameters(params, aspect);
}

inline TrackUpdateResult feed(ObjectTracker& tracker, std::uint64_t now, std::vector<ObjectDetection> detections) {
  return tracker.update(detections, now);
}

/// Identity, label and detection of every track; a plus follows if the track is confident.
inline std::string briefOf(const ObjectTracker& tracker) {
  std::ostringstream text;
  for (const internal::DebugTrack& debug : tracker.getDebugTracks()) {
    text << debug.track.id << debug.track.label << debug.lastDetectionId << (debug.track.confident ? "+ " : " ");
  }
  return text.str();
}

/// "<attribute>=<value> <score>", in the order of the report.
inline void write(std::ostream& text, const std::vector<AttributeClassification>& attributes) {
  for (const auto& a : attributes) text << ' ' << a.attributeType << '=' << a.attributeValue << ' ' << a.score;
}

/// A report but for its box, velocity and gate.
inline void write(std::ostream& text, const internal::DebugTrack& debug) {
  text << debug.track.id << (debug.track.confident ? " confident " : " ") << debug.track.label << ' '
       << debug.track.score << ", state " << debug.state << ", took " << debug.lastDetectionId << ", classes";
  for (const auto& c : debug.track.classifications) text << ' ' << c.label << ' ' << c.score;
  write(text << ", attributes", debug.track.attributes);
}

template <class Track>
std::string textOf(const Track& track) {
  std::ostringstream text;
  write(text, track.reportDebugTrack());
  return text.str();
}

/// Reports as a text that differs whenever any bit of them does.
inline std::string fingerprint(const std::vector<internal::DebugTrack>& tracks) {
  std::ostringstream text;
  text << std::hexfloat;
  for (const internal::DebugTrack& debug : tracks) {
    const auto& [left, top, right, bottom] = debug.track.box;
    write(text, debug);
    text << left << ' ' << top << ' ' << right << ' ' << bottom << ' ' << debug.track.velocityX << ' '
         << debug.track.velocityY << ' ' << debug.maxPositionDifferenceX << ' ' << debug.maxPositionDifferenceY << '\n';
  }
  return text.str();
}

constexpr std::uint64_t kNow = 10 * kSecond;

/// A track that was last seen at `kNow`, in the state that goes with its age.
inline reid::ObjectTrack trackAged(std::uint64_t age, int id, const reid::TrackerParams& params) {
  const ObjectDetection detection = person(boxAt(0, 0), {1, 0});
  reid::ObjectTrack track(detection, id, kNow - age, params);
  track.predict(kNow);
  track.update(detection, kNow, false);
  if (track.canGetConfidentId(kNow)) track.makeConfidentId(kNow);
  track.releaseDetection();
  return track;
}

/// An inactive track that was last seen at `kNow`.
inline reid::ObjectTrack lostTrack(int id, const reid::TrackerParams& params) {
  reid::ObjectTrack track = trackAged(3 * kSecond, id, params);
  track.predict(kNow + 2 * kSecond);
  track.emptyUpdate(kNow + 2 * kSecond);
  return track;
}

}  // namespace nivra::test
