#include "nivra/kalmanParams.h"

#include <stdexcept>

#include "nivra/parameterTables.h"
#include "parameters/conversions.h"
#include "parameters/parameterNames.h"

namespace nivra {

namespace {

std::string joined(const std::vector<std::string>& pieces) {
  std::string text;
  for (const std::string& piece : pieces) text += trim(piece) + ", ";
  return text.substr(0, text.size() - 2);
}

}  // namespace

std::pair<std::set<std::string>, std::map<std::string, SigmoidParams>> parseClassObjectnessParameters(
    const std::vector<std::string>& pieces, float classSigmoidWidth) {
  if (pieces.size() % 2 != 0) {
    throw std::invalid_argument(std::string("Bad value of ") + names::kObjectnessClasses +
                                ": a label lacks its center in \"" + joined(pieces) + "\"");
  }
  std::set<std::string> labels;
  std::map<std::string, SigmoidParams> sigmoids;
  for (std::size_t i = 0; i < pieces.size(); i += 2) {
    labels.insert(pieces[i]);
    sigmoids.emplace(pieces[i], SigmoidParams{classSigmoidWidth, std::stof(pieces[i + 1])});
  }
  return {std::move(labels), std::move(sigmoids)};
}

std::pair<ObjectnessParams, std::set<std::string>> parseObjectnessParams(const ParameterMap& merged,
                                                                         const std::string& rangeKey) {
  ObjectnessParams params;
  const std::vector<std::string> pieces = split(merged.at(names::kObjectnessClasses), ",");
  params.iouSigmoid.width = floatAt(merged, names::kIouSigmoidWidth);
  params.iouSigmoid.center = floatAt(merged, names::kIouSigmoidCenter);
  auto [labels, sigmoids] = parseClassObjectnessParameters(pieces, floatAt(merged, names::kClassSigmoidWidth));
  params.classSigmoids = std::move(sigmoids);

  const std::string& rangeText = merged.at(rangeKey);
  const std::vector<std::string> range = split(rangeText, ",");
  if (range.size() < 2) {
    throw std::invalid_argument("Bad value of " + rangeKey + ": two numbers are needed in \"" + rangeText + "\"");
  }
  params.observationNoiseVarianceMin = std::stof(range[0]);
  params.observationNoiseVarianceMax = std::stof(range[1]);
  return {std::move(params), std::move(labels)};
}

KalmanBoxParams parseKalmanParameters(ParameterMap& params, const std::string& section) {
  const ParameterMap merged = updateParams(defaultValues(kalmanTable), params, section + names::kKalmanSuffix);
  const float processNoiseVariance = floatAt(merged, names::kProcessNoiseVariance);
  const float initialVelocityVariance = floatAt(merged, names::kInitialVelocityVariance);
  const float observationNoiseVarianceX = floatAt(merged, names::kObservationNoiseVarianceX);
  const float observationNoiseVarianceY = floatAt(merged, names::kObservationNoiseVarianceY);
  const float observationNoiseVarianceW = floatAt(merged, names::kObservationNoiseVarianceW);
  const float observationNoiseVarianceH = floatAt(merged, names::kObservationNoiseVarianceH);

  KalmanBoxParams result;
  const auto axisParams = [&](float observationNoiseVariance, const char* rangeKey) {
    auto [objectness, labels] = parseObjectnessParams(merged, rangeKey);
    result.objectnessClasses = std::move(labels);
    return KalmanParams1d{processNoiseVariance, observationNoiseVariance, observationNoiseVariance,
                          initialVelocityVariance, std::move(objectness)};
  };
  result.xParams = axisParams(observationNoiseVarianceX, names::kObservationNoiseVarianceRangeX);
  result.yParams = axisParams(observationNoiseVarianceY, names::kObservationNoiseVarianceRangeY);
  result.wParams = axisParams(observationNoiseVarianceW, names::kObservationNoiseVarianceRangeW);
  result.hParams = axisParams(observationNoiseVarianceH, names::kObservationNoiseVarianceRangeH);
  return result;
}

KalmanBoxParams4D parseKalman4DParameters(ParameterMap& params, const std::string& section, float aspectRatio) {
  const ParameterMap merged = updateParams(defaultValues(kalman4DTable), params, section + names::kKalman4DSuffix);
  const float factor = floatAt(merged, names::kProcessFactor);
  const float a2 = aspectRatio * aspectRatio;
  const auto scaled = [&](const char* name) { return factor * floatAt(merged, name); };
  const auto squared = [](float deviation) { return deviation * deviation; };

  KalmanBoxParams4D result;
  result.aspectRatioSquared = a2;
  result.processNoiseVarianceX = scaled(names::kBaseProcessNoiseVarianceX);
  result.processNoiseVarianceY = scaled(names::kBaseProcessNoiseVarianceY) * a2;
  result.processNoiseVarianceW = scaled(names::kBaseProcessNoiseVarianceW);
  result.processNoiseVarianceH = scaled(names::kBaseProcessNoiseVarianceH) * a2;
  result.initialVelocityVarianceX = scaled(names::kBaseInitialVelocityVariance);
  result.initialVelocityVarianceY = scaled(names::kBaseInitialVelocityVariance) * a2;
  result.initialVarianceX = scaled(names::kBaseInitialVarianceX);
  result.initialVarianceY = scaled(names::kBaseInitialVarianceY) * a2;
  result.initialVarianceW = scaled(names::kBaseInitialVarianceW);
  result.initialVarianceH = scaled(names::kBaseInitialVarianceH) * a2;
  result.defaultObservationNoise = floatAt(merged, names::kDefaultObservationNoise);
  result.observationNoiseTopDeviation = squared(floatAt(merged, names::kObservationNoiseTopDeviation));
  result.observationNoiseBottomDeviation = squared(floatAt(merged, names::kObservationNoiseBottomDeviation));
  result.borderNoiseScaleFactor1 = floatAt(merged, names::kBorderNoiseScaleFactor1);
  result.borderNoiseScaleFactor2 = floatAt(merged, names::kBorderNoiseScaleFactor2);
  result.mahalanobisLimit = floatAt(merged, names::kMahalanobisLimit);
  return result;
}

}  // namespace nivra
