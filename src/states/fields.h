#pragma once

#include <algorithm>
#include <cstddef>
#include <tuple>
#include <vector>

#include "nivra/attributeFilter.h"
#include "nivra/geometry.h"
#include "nivra/kalmanBoxFilter.h"
#include "nivra/kalmanBoxFilter4D.h"
#include "nivra/objectDetection.h"
#include "nivra/reid/featureGallery.h"
#include "nivra/reid/objectTrack.h"
#include "nivra/stateArchive.h"
#include "nivra/trackerParams.h"
#include "nivra/vanilla/objectTrack.h"
#include "nivra/vanillaLowFps/objectTrack.h"

/// What a stored state holds of each class, for both directions. It leaves out what else is known: parameters, of which
/// a tracker has one set, and what follows from the rest.
namespace nivra {

namespace internal {

template <class Archive, std::size_t Axes>
void fields(Archive& archive, AxisStates<Axes>& state) {
  archive(state.value, state.velocity, state.processNoiseVariance, state.observationNoiseVariance, state.variance,
          state.velocityVariance, state.covariance);
}

}  // namespace internal

/// Whether every element comes before the next one.
template <class Elements, class IsBefore>
bool isAscending(const Elements& elements, IsBefore isBefore) {
  return std::adjacent_find(elements.begin(), elements.end(),
                            [&](const auto& a, const auto& b) { return !isBefore(a, b); }) == elements.end();
}

// ---- Records ----

template <class Archive>
void fields(Archive& archive, Box& box) {
  archive(box.left, box.top, box.right, box.bottom);
}

template <class Archive>
void fields(Archive& archive, Classification& classification) {
  archive(classification.label, classification.score);
}

template <class Archive>
void fields(Archive& archive, AttributeClassification& attribute) {
  archive(attribute.attributeType, attribute.attributeValue, attribute.score);
}

// ---- Parameters ----

template <class Archive>
void fields(Archive& archive, SigmoidParams& params) {
  archive(params.width, params.center);
}

template <class Archive>
void fields(Archive& archive, ObjectnessParams& params) {
  archive(params.iouSigmoid, params.classSigmoids, params.observationNoiseVarianceMin,
          params.observationNoiseVarianceMax);
}

template <class Archive>
void fields(Archive& archive, KalmanParams1d& params) {
  archive(params.processNoiseVariance, params.observationNoiseVariance, params.initialVariance,
          params.initialVelocityVariance, params.objectnessParams);
}

template <class Archive>
void fields(Archive& archive, KalmanBoxParams& params) {
  archive(params.xParams, params.yParams, params.wParams, params.hParams, params.objectnessClasses);
}

template <class Archive>
void fields(Archive& archive, KalmanBoxParams4D& params) {
  archive(params.aspectRatioSquared, params.processNoiseVarianceX, params.processNoiseVarianceY,
          params.processNoiseVarianceW, params.processNoiseVarianceH, params.initialVelocityVarianceX,
          params.initialVelocityVarianceY, params.initialVarianceX, params.initialVarianceY, params.initialVarianceW,
          params.initialVarianceH, params.defaultObservationNoise, params.observationNoiseTopDeviation,
          params.observationNoiseBottomDeviation, params.borderNoiseScaleFactor1, params.borderNoiseScaleFactor2,
          params.mahalanobisLimit);
}

namespace vanilla {

template <class Archive>
void fields(Archive& archive, TrackerParams& params) {
  archive(params.kalmanParams, params.widthRelativeDiffGating, params.heightRelativeDiffGating,
          params.widthFactorGating, params.heightFactorGating, params.expirationLikelihoodThreshold,
          params.scoreAbsorption, params.confidentLikelihoodThreshold);
}

}  // namespace vanilla

namespace reid {

template <class Archive>
void fields(Archive& archive, InBetweenParams& params) {
  archive(params.useInbetween, params.iouScoreMargin, params.maxAngle, params.minIou);
}

template <class Archive>
void fields(Archive& archive, TrackerParams& params) {
  archive(params.kalmanParams, params.lambda, params.maxDistanceScalingFactor, params.maxFeatureDistance,
          params.maxReviveFeatureDistance, params.maxIouDistance, params.reviveQuantile, params.defaultCosineDistance,
          params.maxStoreFeaturesIou, params.inactiveOverlapExtraTime, params.minTimeBeforeConfident,
          params.minTimeBeforeConfidentId, params.maxTentativeAge, params.maxConfidentAge, params.inactiveAge,
          params.expiryAge, params.maxReviveAttempts, params.maxDynamicReviveAge, params.maxReviveAge,
          params.minConfidentFeatureVectors, params.scoreAbsorption, params.inBetween);
}

}  // namespace reid

namespace hybrid {

template <class Archive>
void fields(Archive& archive, TrackerParams& params) {
  archive(params.vanillaParams, params.reidParams);
}

}  // namespace hybrid

// ---- Filters ----

template <class Archive>
void fields(Archive& archive, AttributeFilter& filter) {
  using Score = AttributeFilter::Score;
  archive(filter.attributes);
  // Which of them the latest detection showed matters within a frame alone.
  archive.list(
      filter.scores, [&] { filter.scores.emplace_back(); },
      [&](Score& score) { archive(score.attributeType, score.attributeValue, score.score); });
  const auto isBefore = [](const Score& a, const Score& b) {
    return std::tie(a.attributeType, a.attributeValue) < std::tie(b.attributeType, b.attributeValue);
  };
  archive.require(isAscending(filter.scores, isBefore), "attribute scores that don't ascend");
}

template <class Archive>
void fields(Archive& archive, KalmanBoxFilter& filter) {
  archive(filter.state);
}

template <class Archive>
void fields(Archive& archive, KalmanBoxFilter4D& filter) {
  const auto both = [&](KalmanBoxFilter4D::Both& entry) { archive(entry.horizontal, entry.vertical); };
  for (KalmanBoxFilter4D::Both& entry : filter.state) both(entry);
  for (int row = 0; row < 4; ++row) {
    for (int column = row; column < 4; ++column) both(filter.covariance(row, column));
  }
  // Of the latest prediction, from which updates have led the rest away.
  both(filter.innovationCovarianceInverse.low);
  both(filter.innovationCovarianceInverse.between);
  both(filter.innovationCovarianceInverse.high);
}

// ---- Tracks ----

namespace vanilla {

template <class Archive>
void fields(Archive& archive, ObjectTrack& track) {
  archive(track.id, track.lastDetectionId, track.boxFilter, track.score, track.label, track.predictionTimestamp,
          track.classScores, track.predictionInterval, track.smoothedObservationLogLikelihood, track.tentative,
          track.attributeFilter);
  archive.require(track.id >= 0, "a negative identity");
  const auto isBefore = [](const Classification& a, const Classification& b) { return a.label < b.label; };
  archive.require(isAscending(track.classScores, isBefore), "class scores that don't ascend");
}

}  // namespace vanilla

namespace vanillaLowFps {

template <class Archive>
void fields(Archive& archive, ObjectTrack& track) {
  archive(track.track);
}

}  // namespace vanillaLowFps

namespace reid {

/// The oldest vector comes first, wherever it lies; norms are computed anew.
template <class Archive>
void fields(Archive& archive, FeatureGallery& gallery) {
  if constexpr (Archive::kReads) {
    gallery = {};
    std::size_t left = archive.readLength();
    archive.require(left <= FeatureGallery::kCapacity, "more features than a track keeps");
    for (std::vector<float> vector; left > 0; --left) {
      archive(vector);
      gallery.add(Feature(vector));
    }
  } else {
    archive.writeLength(gallery.size());
    for (std::size_t i = 0; i < gallery.size(); ++i) archive.writeNumbers(gallery[i].values, gallery[i].size);
  }
}

template <class Archive>
void fields(Archive& archive, ObjectTrack& track) {
  archive(track.id, track.lastDetectionId, track.reviveAttempts, track.boxFilter, track.score, track.label,
          track.creationTimestamp, track.predictionTimestamp, track.updateTimestamp, track.attributeFilter, track.state,
          track.features);
  archive.require(track.id >= 0, "a negative identity");
  archive.require(TrackState::Inactive <= track.state && track.state <= TrackState::Expired,
                  "a track in no state that there is");
}

}  // namespace reid

}  // namespace nivra
