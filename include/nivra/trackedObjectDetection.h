#pragma once

/// @file
/// What a tracker reports.

#include <cstdint>
#include <string>
#include <vector>

#include "nivra/geometry.h"
#include "nivra/objectDetection.h"

namespace nivra {

/// One track as `ObjectTracker::getTracks` reports it.
struct TrackedObjectDetection {
  std::int32_t id = 0;     ///< Identity, stable for the track's life; never negative.
  Box box;                 ///< Filtered box, each coordinate clamped to [-1, 1].
  float velocityX = 0.0F;  ///< Horizontal velocity of the box centre, picture units per second.
  float velocityY = 0.0F;  ///< Vertical velocity of the box centre, picture units per second.
  float score = 0.0F;      ///< Current smoothed score of `label`, percent.
  std::string label;       ///< Current class label.
  /// Smoothed attribute scores: ascending `attributeType`, within it best score first. Until the track's second
  /// detection they stand as the first one gave them.
  std::vector<AttributeClassification> attributes;
  /// Class hypotheses with their smoothed scores (percent), best first.
  std::vector<Classification> classifications;
  bool confident = false;  ///< True once the track is confirmed.
};

/// One track and the detection that it rests on.
struct TrackReport {
  /// The track as `ObjectTracker::getTracks` reports it.
  TrackedObjectDetection track;
  /// `ObjectDetection::id` of the detection that the track took last; -1 after a newer frame in which it took none.
  std::int32_t detectionId = -1;
};

namespace internal {

/// One track as `ObjectTracker::getDebugTracks` reports it: the report and inner state beside it.
struct DebugTrack {
  TrackedObjectDetection track;  ///< Exactly what `getTracks` would report for this track.
  /// Largest admissible horizontal offset of a detection's centre, picture units; 0 for tracks whose
  /// filter has no such gate.
  float maxPositionDifferenceX = 0.0F;
  float maxPositionDifferenceY = 0.0F;  ///< The same, vertical.
  /// Vanilla and low-frame-rate tracks: 2 while confident, else 1. Re-identification tracks: the number
  /// of the track's life-cycle state.
  std::int32_t state = 0;
  /// `ObjectDetection::id` of the detection that the track took last; -1 after a newer frame in which it took none.
  std::int32_t lastDetectionId = 0;
};

}  // namespace internal
}  // namespace nivra
