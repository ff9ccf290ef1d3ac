#include "nivra/kalmanParams.h"

#include <stdexcept>
#include <tuple>

#include "nivra/parameterTables.h"
#include "parameters/parameterNames.h"
#include "parameters/parameterRanges.h"
#include "parameters/parameterRows.h"

namespace nivra {

namespace {

constexpr char kPictureUnits2[] = "picture units^2";

constexpr KalmanParams1d KalmanBoxParams::*kAxes[] = {&KalmanBoxParams::xParams, &KalmanBoxParams::yParams,
                                                      &KalmanBoxParams::wParams, &KalmanBoxParams::hParams};

template <float KalmanParams1d::*field>
constexpr ParameterTarget<KalmanBoxParams> intoEveryAxis = {
    ParameterKind::number, [](KalmanBoxParams& record, const ParameterMap& merged, const char* name) {
      const float value = std::stof(merged.at(name));
      for (const auto axis : kAxes) record.*axis.*field = value;
    }};

template <KalmanParams1d KalmanBoxParams::*axis>
constexpr ParameterTarget<KalmanBoxParams> intoVariancesOf = {
    ParameterKind::number, [](KalmanBoxParams& record, const ParameterMap& merged, const char* name) {
      (record.*axis).observationNoiseVariance = (record.*axis).initialVariance = std::stof(merged.at(name));
    }};

/// With the range of an axis, all that follows objectness is read.
template <KalmanParams1d KalmanBoxParams::*axis>
constexpr ParameterTarget<KalmanBoxParams> intoObjectnessOf = {
    ParameterKind::numberPair, [](KalmanBoxParams& record, const ParameterMap& merged, const char* name) {
      std::tie((record.*axis).objectnessParams, record.objectnessClasses) = parseObjectnessParams(merged, name);
    }};

template <ParameterKind kind>
constexpr ParameterTarget<KalmanBoxParams> withTheRanges = {kind,
                                                            [](KalmanBoxParams&, const ParameterMap&, const char*) {}};

constexpr ParameterRow<KalmanBoxParams> kalmanRows[] = {
    {{"processNoiseVariance",
      "0.05",
      "picture units^2/s^4",
      "variance of the acceleration that a box may show on each axis",
      "follows detections faster, trusts its own motion less",
      kVariances,
      {0.005, 10.0},
      kLogarithmic},
     intoEveryAxis<&KalmanParams1d::processNoiseVariance>},
    {{"initialVelocityVariance",
      "0.05",
      "picture units^2/s^2",
      "variance of a new track's unknown velocity",
      "lets a new track pick up speed from fewer detections",
      kVariances,
      {0.001, 10.0},
      kLogarithmic},
     intoEveryAxis<&KalmanParams1d::initialVelocityVariance>},
    {{"observationNoiseVarianceX",
      "0.00070332",
      kPictureUnits2,
      "variance of a detection's horizontal centre, and of a new track's",
      "smooths more, and accepts detections farther off",
      kNoiseVariances,
      {2e-05, 0.02},
      kLogarithmic},
     intoVariancesOf<&KalmanBoxParams::xParams>},
    {{"observationNoiseVarianceY",
      "0.00116828",
      kPictureUnits2,
      "variance of a detection's vertical centre, and of a new track's",
      "smooths more, and accepts detections farther off",
      kNoiseVariances,
      {2e-05, 0.02},
      kLogarithmic},
     intoVariancesOf<&KalmanBoxParams::yParams>},
    {{"observationNoiseVarianceW",
      "0.00254144",
      kPictureUnits2,
      "variance of a detection's width, and of a new track's",
      "smooths more, and accepts sizes farther off",
      kNoiseVariances,
      {5e-05, 0.05},
      kLogarithmic},
     intoVariancesOf<&KalmanBoxParams::wParams>},
    {{"observationNoiseVarianceH",
      "0.00701324",
      kPictureUnits2,
      "variance of a detection's height, and of a new track's",
      "smooths more, and accepts sizes farther off",
      kNoiseVariances,
      {0.0001, 0.1},
      kLogarithmic},
     intoVariancesOf<&KalmanBoxParams::hParams>},
    {{names::kObjectnessClasses, "", "label, fraction, ...",
      "labels whose objectness scales the observation noise, each followed by the class score at which its curve "
      "is one half",
      "a larger centre demands a better class score for the same trust", kNoNumbers, kNoNumbers, kLinear},
     withTheRanges<ParameterKind::classList>},
    {{names::kClassSigmoidWidth,
      "0.294",
      "fraction",
      "class-score span over which the curve rises from 0.05 to 0.95",
      "makes the passage from doubt to trust softer",
      kWidths,
      {0.05, 1.0},
      kLogarithmic},
     withTheRanges<ParameterKind::number>},
    {{names::kIouSigmoidWidth,
      "0.294",
      "fraction",
      "objectness span over which the curve rises from 0.05 to 0.95",
      "makes the passage from doubt to trust softer",
      kWidths,
      {0.05, 1.0},
      kLogarithmic},
     withTheRanges<ParameterKind::number>},
    {{names::kIouSigmoidCenter,
      "0.68",
      "fraction",
      "objectness at which the curve is one half",
      "demands a higher objectness for the same trust",
      kFractions,
      {0.2, 0.9},
      kLinear},
     withTheRanges<ParameterKind::number>},
    {{"observationNoiseVarianceRangeX",
      "0.000001, 0.0070332",
      kPictureUnits2,
      "variance of the horizontal centre for a perfect and for a worthless detection",
      "smooths more",
      kNoiseVariances,
      {1e-06, 0.02},
      kLogarithmic},
     intoObjectnessOf<&KalmanBoxParams::xParams>},
    {{"observationNoiseVarianceRangeY",
      "0.000001, 0.0116828",
      kPictureUnits2,
      "variance of the vertical centre for a perfect and for a worthless detection",
      "smooths more",
      kNoiseVariances,
      {1e-06, 0.03},
      kLogarithmic},
     intoObjectnessOf<&KalmanBoxParams::yParams>},
    {{"observationNoiseVarianceRangeW",
      "0.000001, 0.0254144",
      kPictureUnits2,
      "variance of the width for a perfect and for a worthless detection",
      "smooths more",
      kNoiseVariances,
      {1e-06, 0.06},
      kLogarithmic},
     intoObjectnessOf<&KalmanBoxParams::wParams>},
    {{"observationNoiseVarianceRangeH",
      "0.000001, 0.0701324",
      kPictureUnits2,
      "variance of the height for a perfect and for a worthless detection",
      "smooths more",
      kNoiseVariances,
      {1e-06, 0.2},
      kLogarithmic},
     intoObjectnessOf<&KalmanBoxParams::hParams>},
};
constexpr auto kalmanDescriptions = descriptionsOf(kalmanRows);

/// The joint filter's parameters as they are written, before all that is processed carries the factor.
struct UnscaledParams {
  KalmanBoxParams4D filter;
  float processFactor = 0.0F;
};

template <float KalmanBoxParams4D::*field>
constexpr auto intoFilter = into<&UnscaledParams::filter, field>;

constexpr ParameterRow<UnscaledParams> kalman4DRows[] = {
    {{"processFactor",
      "2.0",
      "",
      "factor on all process and initial variances",
      "follows detections faster, and accepts detections farther off",
      kNoiseFactors,
      {0.25, 64.0},
      kLogarithmic},
     into<&UnscaledParams::processFactor>},
    {{"baseProcessNoiseVarianceX",
      "0.10000",
      "picture units^2/s^4",
      "acceleration variance of the horizontal centre, for a box 0.2 wide",
      "follows detections faster",
      kVariances,
      {0.01, 1.0},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::processNoiseVarianceX>},
    {{"baseProcessNoiseVarianceY",
      "0.06020",
      "picture units^2/s^4",
      "acceleration variance of the vertical centre, for a box 0.2 wide",
      "follows detections faster",
      kVariances,
      {0.01, 1.0},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::processNoiseVarianceY>},
    {{"baseProcessNoiseVarianceW",
      "0.04011",
      "picture units^2/s^4",
      "acceleration variance of the width, for a box 0.2 wide",
      "follows detections faster",
      kVariances,
      {0.004, 0.4},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::processNoiseVarianceW>},
    {{"baseProcessNoiseVarianceH",
      "0.04011",
      "picture units^2/s^4",
      "acceleration variance of the height, for a box 0.2 wide",
      "follows detections faster",
      kVariances,
      {0.004, 0.4},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::processNoiseVarianceH>},
    {{"baseInitialVelocityVariance",
      "0.05",
      "picture units^2/s^2",
      "variance of a new track's unknown velocities, for a box 0.2 wide",
      "lets a new track pick up speed from fewer detections",
      kVariances,
      {0.005, 5.0},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::initialVelocityVarianceX>},
    {{"baseInitialVarianceX",
      "0.001407",
      kPictureUnits2,
      "variance of a new track's horizontal centre, for a box 0.2 wide",
      "trusts the first detection less",
      kNoiseVariances,
      {0.0001, 0.02},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::initialVarianceX>},
    {{"baseInitialVarianceY",
      "0.001407",
      kPictureUnits2,
      "variance of a new track's vertical centre, for a box 0.2 wide",
      "trusts the first detection less",
      kNoiseVariances,
      {0.0001, 0.02},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::initialVarianceY>},
    {{"baseInitialVarianceW",
      "0.005627",
      kPictureUnits2,
      "variance of a new track's width, for a box 0.2 wide",
      "trusts the first detection less",
      kNoiseVariances,
      {0.0004, 0.08},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::initialVarianceW>},
    {{"baseInitialVarianceH",
      "0.005627",
      kPictureUnits2,
      "variance of a new track's height, for a box 0.2 wide",
      "trusts the first detection less",
      kNoiseVariances,
      {0.0004, 0.08},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::initialVarianceH>},
    {{"defaultObservationNoise",
      "0.002813",
      kPictureUnits2,
      "variance of each edge of a detection, for a box 0.2 wide",
      "smooths more, and accepts detections farther off",
      kNoiseVariances,
      {0.0001, 0.03},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::defaultObservationNoise>},
    {{"observationNoiseTopDeviation",
      "1.0",
      "",
      "factor on the standard deviation of the top edge",
      "trusts top edges less",
      kNoiseFactors,
      {0.3, 5.0},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::observationNoiseTopDeviation>},
    {{"observationNoiseBottomDeviation",
      "3.0",
      "",
      "factor on the standard deviation of the bottom edge",
      "trusts bottom edges less",
      kNoiseFactors,
      {0.3, 10.0},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::observationNoiseBottomDeviation>},
    {{"borderNoiseScaleFactor1",
      "1.0",
      "",
      "factor on the variance of an edge at the picture's border",
      "trusts edges at the border less",
      kNoiseFactors,
      {0.5, 20.0},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::borderNoiseScaleFactor1>},
    {{"borderNoiseScaleFactor2",
      "1.0",
      "",
      "factor on the variance of the other edges while one is at the border",
      "trusts boxes that touch the border less",
      kNoiseFactors,
      {0.5, 20.0},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::borderNoiseScaleFactor2>},
    {{"mahalanobisLimit",
      "3.0",
      "standard deviations",
      "largest distance of a detection's edges from the predicted ones",
      "accepts detections farther off",
      kFactors,
      {1.5, 12.0},
      kLogarithmic},
     intoFilter<&KalmanBoxParams4D::mahalanobisLimit>},
};
constexpr auto kalman4DDescriptions = descriptionsOf(kalman4DRows);

std::string joined(const std::vector<std::string>& pieces) {
  std::string text;
  for (const std::string& piece : pieces) text += trim(piece) + ", ";
  return text.substr(0, text.size() - 2);
}

}  // namespace

constexpr ParameterTable kalmanTable = tableOf(kalmanDescriptions);
constexpr ParameterTable kalman4DTable = tableOf(kalman4DDescriptions);

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
  params.iouSigmoid.width = std::stof(merged.at(names::kIouSigmoidWidth));
  params.iouSigmoid.center = std::stof(merged.at(names::kIouSigmoidCenter));
  auto [labels, sigmoids] = parseClassObjectnessParameters(pieces, std::stof(merged.at(names::kClassSigmoidWidth)));
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
  KalmanBoxParams result;
  fill(result, kalmanRows, updateParams(defaultValues(kalmanTable), params, section + names::kKalmanSuffix));
  return result;
}

KalmanBoxParams4D parseKalman4DParameters(ParameterMap& params, const std::string& section, float aspectRatio) {
  UnscaledParams unscaled;
  fill(unscaled, kalman4DRows, updateParams(defaultValues(kalman4DTable), params, section + names::kKalman4DSuffix));

  using Params = KalmanBoxParams4D;
  Params result = unscaled.filter;
  result.aspectRatioSquared = aspectRatio * aspectRatio;
  result.initialVelocityVarianceY = result.initialVelocityVarianceX;
  for (float Params::*const variance :
       {&Params::processNoiseVarianceX, &Params::processNoiseVarianceY, &Params::processNoiseVarianceW,
        &Params::processNoiseVarianceH, &Params::initialVelocityVarianceX, &Params::initialVelocityVarianceY,
        &Params::initialVarianceX, &Params::initialVarianceY, &Params::initialVarianceW, &Params::initialVarianceH}) {
    result.*variance *= unscaled.processFactor;
  }
  for (float Params::*const vertical :
       {&Params::processNoiseVarianceY, &Params::processNoiseVarianceH, &Params::initialVelocityVarianceY,
        &Params::initialVarianceY, &Params::initialVarianceH}) {
    result.*vertical *= result.aspectRatioSquared;
  }
  result.observationNoiseTopDeviation *= result.observationNoiseTopDeviation;
  result.observationNoiseBottomDeviation *= result.observationNoiseBottomDeviation;
  return result;
}

}  // namespace nivra
