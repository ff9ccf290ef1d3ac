#pragma once

#include <optional>
#include <utility>

#include "core/hearing.h"
#include "filters/filterGates.h"
#include "nivra/objectDetection.h"
#include "nivra/reid/featureGallery.h"
#include "nivra/reid/objectTrack.h"
#include "nivra/trackerParams.h"

/// What a track and a detection, and what a lost track and a young one must pass to go together.
namespace nivra::reid {

/// Position of a pair in the order of matching, before its cost.
inline unsigned rankOf(const ObjectTrack& track, bool isInbetween) {
  constexpr unsigned kRanks = 3;
  const TrackState state = track.getState();
  const unsigned rank = state == TrackState::ConfidentId ? 0 : state == TrackState::Confident ? 1 : 2;
  return isInbetween ? rank + kRanks : rank;
}

inline std::optional<Feature> featureOf(const ObjectDetection& detection) {
  return detection.feature ? std::optional<Feature>(*detection.feature) : std::nullopt;
}

/// Overlap distance and feature distance.
inline std::pair<float, float> distances(const ObjectTrack& track, const ObjectDetection& detection,
                                         const std::optional<Feature>& feature, const TrackerParams& params) {
  return {track.computeIouDistance(detection.box),
          feature ? track.minDistanceOf(*feature) : params.defaultCosineDistance};
}

/// By appearance if both sides have one, else by overlap.
template <class Hear>
bool isSimilar(bool hasAppearance, float iouDistance, float featureDistance, const TrackerParams& params, Hear&& hear) {
  const auto isWithin = [&hear](Rule rule, float limit, float figure) {
    return hear(rule, figure, limit, limit >= figure);
  };
  return hasAppearance ? isWithin(Rule::featureDistance, params.maxFeatureDistance, featureDistance)
                       : isWithin(Rule::overlapDistance, params.maxIouDistance, iouDistance);
}

/// The cost of a pair of admissible labels, if it passes the gates of box filter and distances.
template <class Hear>
std::optional<float> gatedCost(const ObjectTrack& track, const ObjectDetection& detection,
                               const std::optional<Feature>& feature, const TrackerParams& params, Hear&& hear) {
  if (!isNearPrediction(track.getBoxFilter(), detection.box, hear)) return std::nullopt;
  const auto [iouDistance, featureDistance] = distances(track, detection, feature, params);
  const bool hasAppearance = feature && track.hasFeatures();
  if (!isSimilar(hasAppearance, iouDistance, featureDistance, params, hear)) return std::nullopt;
  return iouDistance * params.lambda + (1.0F - params.lambda) * featureDistance;
}

/// Whether a lost track and a young one, which took a detection in this frame, are worth a comparison of their
/// galleries.
template <class Hear>
bool areComparable(const ObjectTrack& lost, const ObjectTrack& young, Hear&& hear) {
  const bool isOfOneLabel = lost.getLabel() == young.getLabel();
  if (!hear(Rule::sameLabel, isOfOneLabel ? 0 : 1, 0, isOfOneLabel)) return false;
  if (!isNearPrediction(lost.getBoxFilter(), young.getDetection()->box, hear)) return false;
  const auto lastSeen = lost.getUpdateTimestamp();
  const auto firstSeen = young.getCreationTimestamp();
  const double absence =
      lastSeen < firstSeen ? static_cast<double>(firstSeen - lastSeen) : -static_cast<double>(lastSeen - firstSeen);
  return hear(Rule::absence, absence, 0.0, lastSeen < firstSeen);
}

/// Whether a distance of galleries is small enough for a revival.
template <class Hear>
bool isRevivable(float distance, const TrackerParams& params, Hear&& hear) {
  const float limit = params.maxReviveFeatureDistance;
  return hear(Rule::galleryDistance, distance, limit, limit >= distance);
}

/// The cost of a pair of comparable tracks, if it passes the gate of their distance.
template <class Hear>
std::optional<float> revivalCost(const ObjectTrack& lost, const ObjectTrack& young, Hear&& hear) {
  const float distance = lost.computeTrackTrackDistance(young);
  return isRevivable(distance, lost.getParams(), hear) ? std::optional(distance) : std::nullopt;
}

}  // namespace nivra::reid
