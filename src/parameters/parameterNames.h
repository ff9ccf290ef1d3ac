#pragma once

/// The names of sections and parameters, shared by the tables and the parse functions.
namespace nivra::names {

inline constexpr char kVanillaSection[] = "vanilla";
inline constexpr char kVanillaKalmanSection[] = "vanilla.kalman";
inline constexpr char kVanillaLowFpsSection[] = "vanillaLowFps";
inline constexpr char kVanillaLowFpsKalmanSection[] = "vanillaLowFps.kalman";
inline constexpr char kReidSection[] = "reid";
inline constexpr char kReidKalman4DSection[] = "reid.kalman4d";

// What turns a tracker's section into that of its filter.
inline constexpr char kKalmanSuffix[] = ".kalman";
inline constexpr char kKalman4DSuffix[] = ".kalman4d";

inline constexpr char kProcessNoiseVariance[] = "processNoiseVariance";
inline constexpr char kInitialVelocityVariance[] = "initialVelocityVariance";
inline constexpr char kObservationNoiseVarianceX[] = "observationNoiseVarianceX";
inline constexpr char kObservationNoiseVarianceY[] = "observationNoiseVarianceY";
inline constexpr char kObservationNoiseVarianceW[] = "observationNoiseVarianceW";
inline constexpr char kObservationNoiseVarianceH[] = "observationNoiseVarianceH";
inline constexpr char kObjectnessClasses[] = "objectnessClasses";
inline constexpr char kClassSigmoidWidth[] = "classSigmoidWidth";
inline constexpr char kIouSigmoidWidth[] = "iouSigmoidWidth";
inline constexpr char kIouSigmoidCenter[] = "iouSigmoidCenter";
inline constexpr char kObservationNoiseVarianceRangeX[] = "observationNoiseVarianceRangeX";
inline constexpr char kObservationNoiseVarianceRangeY[] = "observationNoiseVarianceRangeY";
inline constexpr char kObservationNoiseVarianceRangeW[] = "observationNoiseVarianceRangeW";
inline constexpr char kObservationNoiseVarianceRangeH[] = "observationNoiseVarianceRangeH";

inline constexpr char kProcessFactor[] = "processFactor";
inline constexpr char kBaseProcessNoiseVarianceX[] = "baseProcessNoiseVarianceX";
inline constexpr char kBaseProcessNoiseVarianceY[] = "baseProcessNoiseVarianceY";
inline constexpr char kBaseProcessNoiseVarianceW[] = "baseProcessNoiseVarianceW";
inline constexpr char kBaseProcessNoiseVarianceH[] = "baseProcessNoiseVarianceH";
inline constexpr char kBaseInitialVelocityVariance[] = "baseInitialVelocityVariance";
inline constexpr char kBaseInitialVarianceX[] = "baseInitialVarianceX";
inline constexpr char kBaseInitialVarianceY[] = "baseInitialVarianceY";
inline constexpr char kBaseInitialVarianceW[] = "baseInitialVarianceW";
inline constexpr char kBaseInitialVarianceH[] = "baseInitialVarianceH";
inline constexpr char kDefaultObservationNoise[] = "defaultObservationNoise";
inline constexpr char kObservationNoiseTopDeviation[] = "observationNoiseTopDeviation";
inline constexpr char kObservationNoiseBottomDeviation[] = "observationNoiseBottomDeviation";
inline constexpr char kBorderNoiseScaleFactor1[] = "borderNoiseScaleFactor1";
inline constexpr char kBorderNoiseScaleFactor2[] = "borderNoiseScaleFactor2";
inline constexpr char kMahalanobisLimit[] = "mahalanobisLimit";

inline constexpr char kWidthRelativeDiffGating[] = "widthRelativeDiffGating";
inline constexpr char kHeightRelativeDiffGating[] = "heightRelativeDiffGating";
inline constexpr char kWidthFactorGating[] = "widthFactorGating";
inline constexpr char kHeightFactorGating[] = "heightFactorGating";
inline constexpr char kExpirationLikelihoodThreshold[] = "expirationLikelihoodThreshold";
inline constexpr char kScoreAbsorption[] = "scoreAbsorption";
inline constexpr char kConfidentLikelihoodThreshold[] = "confidentLikelihoodThreshold";

inline constexpr char kLambda[] = "lambda";
inline constexpr char kMaxDistanceScalingFactor[] = "maxDistanceScalingFactor";
inline constexpr char kMaxFeatureDistance[] = "maxFeatureDistance";
inline constexpr char kMaxReviveFeatureDistance[] = "maxReviveFeatureDistance";
inline constexpr char kMaxIouDistance[] = "maxIouDistance";
inline constexpr char kReviveQuantile[] = "reviveQuantile";
inline constexpr char kDefaultCosineDistance[] = "defaultCosineDistance";
inline constexpr char kMaxStoreFeaturesIou[] = "maxStoreFeaturesIou";
inline constexpr char kInactiveOverlapExtraTime[] = "inactiveOverlapExtraTime";
inline constexpr char kMinTimeBeforeConfident[] = "minTimeBeforeConfident";
inline constexpr char kMinTimeBeforeConfidentId[] = "minTimeBeforeConfidentId";
inline constexpr char kMaxTentativeAge[] = "maxTentativeAge";
inline constexpr char kMaxConfidentAge[] = "maxConfidentAge";
inline constexpr char kInactiveAge[] = "inactiveAge";
inline constexpr char kExpiryAge[] = "expiryAge";
inline constexpr char kMaxReviveAttempts[] = "maxReviveAttempts";
inline constexpr char kMaxDynamicReviveAge[] = "maxDynamicReviveAge";
inline constexpr char kMaxReviveAge[] = "maxReviveAge";
inline constexpr char kMinConfidentFeatureVectors[] = "minConfidentFeatureVectors";
inline constexpr char kUseInbetweenFiltering[] = "useInbetweenFiltering";
inline constexpr char kInbetweenIouScoreMargin[] = "inbetweenIouScoreMargin";
inline constexpr char kInbetweenAngleThreshold[] = "inbetweenAngleThreshold";
inline constexpr char kInbetweenMinIou[] = "inbetweenMinIou";

}  // namespace nivra::names
