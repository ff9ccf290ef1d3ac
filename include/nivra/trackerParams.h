#pragma once

/// @file
/// Typed parameters of the trackers, and their parsing. Each field bears the name of the key that fills it.

#include <cstdint>

#include "nivra/export.h"
#include "nivra/kalmanParams.h"
#include "nivra/parameterMap.h"

namespace nivra {

namespace vanilla {

/// Parameters of the vanilla and of the low-frame-rate tracker.
struct TrackerParams {
  KalmanBoxParams kalmanParams;                ///< Of the box filter.
  float widthRelativeDiffGating = 0.0F;        ///< Largest |detection width / track width - 1|.
  float heightRelativeDiffGating = 0.0F;       ///< Largest |detection height / track height - 1|.
  float widthFactorGating = 0.0F;              ///< Largest horizontal centre offset, in smaller widths.
  float heightFactorGating = 0.0F;             ///< Largest vertical centre offset, in smaller heights.
  float expirationLikelihoodThreshold = 0.0F;  ///< Smoothed log-likelihood below which a track expires.
  float scoreAbsorption = 0.0F;                ///< Weight of a new score; the rest keeps the old one.
  float confidentLikelihoodThreshold = 0.0F;   ///< Smoothed log-likelihood from which a track is confident.
};

}  // namespace vanilla

namespace reid {

/// When a detection counts as lying between two others.
struct InBetweenParams {
  bool useInbetween = false;    ///< Run the test at all.
  float iouScoreMargin = 0.0F;  ///< How far its objectness must lie below both neighbours', percent points.
  float maxAngle = 0.0F;        ///< Largest cosine of the angle between the directions to its neighbours.
  float minIou = 0.0F;          ///< Intersection over union that two neighbours must exceed.
};

/// Parameters of the re-identification tracker. Durations are nanoseconds.
struct TrackerParams {
  KalmanBoxParams4D kalmanParams;         ///< Of the box filter.
  float lambda = 0.0F;                    ///< Share of the overlap in the association cost; the rest is appearance.
  float maxDistanceScalingFactor = 0.0F;  ///< For configurations that set it; association does without.
  float maxFeatureDistance = 0.0F;        ///< Largest appearance distance of an association.
  float maxReviveFeatureDistance = 0.0F;  ///< Largest gallery distance of a revival.
  float maxIouDistance = 0.0F;            ///< Largest 1 - IoU of an association without appearance.
  float reviveQuantile = 0.0F;            ///< Quantile of the pairwise distances of two galleries, 0 to 1.
  float defaultCosineDistance = 0.0F;     ///< Appearance distance when there is nothing to compare.
  float maxStoreFeaturesIou = 0.0F;       ///< Overlap with a neighbour above which no feature is stored.
  std::uint64_t inactiveOverlapExtraTime = 0;  ///< How much longer than `inactiveAge` a lost track overlaps.
  std::uint64_t minTimeBeforeConfident = 0;    ///< Age from which a tentative track becomes confident.
  std::uint64_t minTimeBeforeConfidentId = 0;  ///< Age from which a confident track may get an identity of its own.
  // Times without detection:
  std::uint64_t maxTentativeAge = 0;             ///< After which a tentative track ends.
  std::uint64_t maxConfidentAge = 0;             ///< After which a confident track ends while it is young.
  std::uint64_t inactiveAge = 0;                 ///< After which a track with a confident identity counts as lost.
  std::uint64_t expiryAge = 0;                   ///< After which any track that is not lost ends.
  std::uint64_t maxReviveAttempts = 0;           ///< How many comparisons a lost track has for certain.
  std::uint64_t maxDynamicReviveAge = 0;         ///< After which a lost track ends that has had these.
  std::uint64_t maxReviveAge = 0;                ///< After which any lost track ends.
  std::uint64_t minConfidentFeatureVectors = 0;  ///< Features that a confident identity takes.
  float scoreAbsorption = 0.0F;                  ///< Weight of a new score; the rest keeps the old one.
  InBetweenParams inBetween;                     ///< Which detections are served last.
};

}  // namespace reid

namespace hybrid {

/// Parameters of the two trackers inside the hybrid tracker.
struct TrackerParams {
  vanilla::TrackerParams vanillaParams;  ///< For all that is not labelled "human".
  reid::TrackerParams reidParams;        ///< For people.
};

}  // namespace hybrid

/// @name Parse functions
/// Each fills a record from the host's map over the defaults of its sections and erases the keys that it
/// used; keys of other sections stay.
/// @throws std::out_of_range "Bad parameter: <name>" for an unknown name in one of the sections.
/// @throws std::invalid_argument, std::out_of_range "stof", "stoull" or "stoi" for a value that is no
///   number or out of range.
/// @{

/// Sections "vanilla" and "vanilla.kalman", which hold for pictures of any `aspectRatio`.
NIVRA_EXPORT vanilla::TrackerParams parseVanillaParameters(ParameterMap& params, float aspectRatio);
/// Sections "vanillaLowFps" and "vanillaLowFps.kalman", which hold for pictures of any `aspectRatio`.
NIVRA_EXPORT vanilla::TrackerParams parseVanillaLowFpsParameters(ParameterMap& params, float aspectRatio);
/// Sections "reid" and "reid.kalman4d".
NIVRA_EXPORT reid::TrackerParams parseReidParameters(ParameterMap& params, float aspectRatio);
/// The sections of the vanilla and of the re-identification tracker.
NIVRA_EXPORT hybrid::TrackerParams parseHybridParameters(ParameterMap& params, float aspectRatio);
/// @}

}  // namespace nivra
