#include "nivra/trackerParams.h"

#include "nivra/parameterTables.h"
#include "parameters/conversions.h"
#include "parameters/parameterNames.h"

namespace nivra {

namespace {

vanilla::TrackerParams parseLikelihoodTracker(ParameterMap& params, const ParameterTable& table, const char* section) {
  const ParameterMap merged = updateParams(defaultValues(table), params, section);
  vanilla::TrackerParams result;
  result.kalmanParams = parseKalmanParameters(params, section);
  result.widthRelativeDiffGating = floatAt(merged, names::kWidthRelativeDiffGating);
  result.heightRelativeDiffGating = floatAt(merged, names::kHeightRelativeDiffGating);
  result.widthFactorGating = floatAt(merged, names::kWidthFactorGating);
  result.heightFactorGating = floatAt(merged, names::kHeightFactorGating);
  result.expirationLikelihoodThreshold = floatAt(merged, names::kExpirationLikelihoodThreshold);
  result.scoreAbsorption = floatAt(merged, names::kScoreAbsorption);
  result.confidentLikelihoodThreshold = floatAt(merged, names::kConfidentLikelihoodThreshold);
  return result;
}

}  // namespace

vanilla::TrackerParams parseVanillaParameters(ParameterMap& params, float /*aspectRatio*/) {
  return parseLikelihoodTracker(params, vanillaTable, names::kVanillaSection);
}

vanilla::TrackerParams parseVanillaLowFpsParameters(ParameterMap& params, float /*aspectRatio*/) {
  return parseLikelihoodTracker(params, vanillaLowFpsTable, names::kVanillaLowFpsSection);
}

reid::TrackerParams parseReidParameters(ParameterMap& params, float aspectRatio) {
  const ParameterMap merged = updateParams(defaultValues(reidTable), params, names::kReidSection);
  reid::TrackerParams result;
  result.kalmanParams = parseKalman4DParameters(params, names::kReidSection, aspectRatio);
  result.lambda = floatAt(merged, names::kLambda);
  result.maxDistanceScalingFactor = floatAt(merged, names::kMaxDistanceScalingFactor);
  result.maxFeatureDistance = floatAt(merged, names::kMaxFeatureDistance);
  result.maxReviveFeatureDistance = floatAt(merged, names::kMaxReviveFeatureDistance);
  result.maxIouDistance = floatAt(merged, names::kMaxIouDistance);
  result.reviveQuantile = floatAt(merged, names::kReviveQuantile);
  result.defaultCosineDistance = floatAt(merged, names::kDefaultCosineDistance);
  result.maxStoreFeaturesIou = floatAt(merged, names::kMaxStoreFeaturesIou);
  result.inactiveOverlapExtraTime = countAt(merged, names::kInactiveOverlapExtraTime);
  result.minTimeBeforeConfident = countAt(merged, names::kMinTimeBeforeConfident);
  result.minTimeBeforeConfidentId = countAt(merged, names::kMinTimeBeforeConfidentId);
  result.maxTentativeAge = countAt(merged, names::kMaxTentativeAge);
  result.maxConfidentAge = countAt(merged, names::kMaxConfidentAge);
  result.inactiveAge = countAt(merged, names::kInactiveAge);
  result.expiryAge = countAt(merged, names::kExpiryAge);
  result.maxReviveAttempts = countAt(merged, names::kMaxReviveAttempts);
  result.maxDynamicReviveAge = countAt(merged, names::kMaxDynamicReviveAge);
  result.maxReviveAge = countAt(merged, names::kMaxReviveAge);
  result.minConfidentFeatureVectors = countAt(merged, names::kMinConfidentFeatureVectors);
  result.scoreAbsorption = floatAt(merged, names::kScoreAbsorption);
  result.inBetween.useInbetween = flagAt(merged, names::kUseInbetweenFiltering);
  result.inBetween.iouScoreMargin = floatAt(merged, names::kInbetweenIouScoreMargin);
  result.inBetween.maxAngle = floatAt(merged, names::kInbetweenAngleThreshold);
  result.inBetween.minIou = floatAt(merged, names::kInbetweenMinIou);
  return result;
}

hybrid::TrackerParams parseHybridParameters(ParameterMap& params, float aspectRatio) {
  hybrid::TrackerParams result;
  result.vanillaParams = parseVanillaParameters(params, aspectRatio);
  result.reidParams = parseReidParameters(params, aspectRatio);
  return result;
}

}  // namespace nivra
