#pragma once

/// @file
/// Typed parameters of the Kalman filters, and their parsing.

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "nivra/export.h"
#include "nivra/parameterMap.h"

namespace nivra {

/// A logistic curve that rises from 0.05 to 0.95 over `width` around `center`.
struct SigmoidParams {
  float width = 0.0F;   ///< Distance between the inputs at which the curve is 0.05 and 0.95.
  float center = 0.0F;  ///< Input at which the curve is 0.5.
};

/// How the observation noise of one axis follows a detection's objectness and class score.
struct ObjectnessParams {
  SigmoidParams iouSigmoid;                            ///< Curve for the objectness, a fraction.
  std::map<std::string, SigmoidParams> classSigmoids;  ///< Curve for the class score, a fraction, by label.
  float observationNoiseVarianceMin = 0.0F;            ///< Variance for a perfect detection.
  float observationNoiseVarianceMax = 0.0F;            ///< Variance for a worthless one.
};

/// One axis of the per-axis box filter. Variances are in squared picture units.
struct KalmanParams1d {
  float processNoiseVariance = 0.0F;      ///< Variance of the white acceleration noise, units^2/s^4.
  float observationNoiseVariance = 0.0F;  ///< Variance of one measurement.
  float initialVariance = 0.0F;           ///< Variance of the first measurement.
  float initialVelocityVariance = 0.0F;   ///< Variance of the unknown first velocity, units^2/s^2.
  ObjectnessParams objectnessParams;      ///< How good detections measure better.
};

/// The per-axis box filter of the vanilla and low-frame-rate tracks.
struct KalmanBoxParams {
  KalmanParams1d xParams;                   ///< Horizontal centre.
  KalmanParams1d yParams;                   ///< Vertical centre.
  KalmanParams1d wParams;                   ///< Width.
  KalmanParams1d hParams;                   ///< Height.
  std::set<std::string> objectnessClasses;  ///< Labels whose objectness scales the observation noise.
};

/// The joint box filter of the re-identification track.
///
/// Variances hold for a box that is 0.2 wide; the filter scales them with the square of the width. One
/// pixel measures `aspectRatio` times as much vertically as horizontally, so everything vertical carries
/// the square of the aspect ratio.
struct KalmanBoxParams4D {
  float aspectRatioSquared = 0.0F;               ///< Of the picture's width to its height.
  float processNoiseVarianceX = 0.0F;            ///< Of the horizontal centre's acceleration, units^2/s^4.
  float processNoiseVarianceY = 0.0F;            ///< Of the vertical centre's.
  float processNoiseVarianceW = 0.0F;            ///< Of the width's.
  float processNoiseVarianceH = 0.0F;            ///< Of the height's.
  float initialVelocityVarianceX = 0.0F;         ///< Of the centre-x and width velocities.
  float initialVelocityVarianceY = 0.0F;         ///< Of the centre-y and height velocities.
  float initialVarianceX = 0.0F;                 ///< Of the first horizontal centre.
  float initialVarianceY = 0.0F;                 ///< Of the first vertical centre.
  float initialVarianceW = 0.0F;                 ///< Of the first width.
  float initialVarianceH = 0.0F;                 ///< Of the first height.
  float defaultObservationNoise = 0.0F;          ///< Variance of one edge.
  float observationNoiseTopDeviation = 0.0F;     ///< Factor on the variance of the top edge.
  float observationNoiseBottomDeviation = 0.0F;  ///< Factor on the variance of the bottom edge.
  float borderNoiseScaleFactor1 = 0.0F;          ///< Factor for an edge at the picture's border.
  float borderNoiseScaleFactor2 = 0.0F;          ///< Factor for the other edges while one is at the border.
  float mahalanobisLimit = 0.0F;                 ///< Largest distance that may be associated.
};

/// Reads label, center, label, center, ... into a set of labels and a curve for each.
///
/// The first occurrence of a label wins.
/// @param pieces The pieces of "objectnessClasses".
/// @param classSigmoidWidth Width of every curve.
/// @throws std::invalid_argument naming "objectnessClasses" and the value when a label lacks its center;
///   what std::stof throws for a center that is no number.
NIVRA_EXPORT std::pair<std::set<std::string>, std::map<std::string, SigmoidParams>> parseClassObjectnessParameters(
    const std::vector<std::string>& pieces, float classSigmoidWidth);

/// Reads the objectness settings of one axis.
///
/// @param merged A Kalman section with its defaults filled in.
/// @param rangeKey The axis's range, for example "observationNoiseVarianceRangeX".
/// @return The settings and the labels named in "objectnessClasses".
/// @throws std::invalid_argument naming the parameter and its value for a range of fewer than two
///   numbers, and as `parseClassObjectnessParameters`.
NIVRA_EXPORT std::pair<ObjectnessParams, std::set<std::string>> parseObjectnessParams(const ParameterMap& merged,
                                                                                      const std::string& rangeKey);

/// Reads and consumes the section `section` + ".kalman".
/// @throws std::out_of_range "Bad parameter: <name>" for an unknown name, and what the conversions throw.
NIVRA_EXPORT KalmanBoxParams parseKalmanParameters(ParameterMap& params, const std::string& section);

/// Reads and consumes the section `section` + ".kalman4d".
/// @param aspectRatio Picture width divided by picture height.
/// @throws std::out_of_range "Bad parameter: <name>" for an unknown name, and what the conversions throw.
NIVRA_EXPORT KalmanBoxParams4D parseKalman4DParameters(ParameterMap& params, const std::string& section,
                                                       float aspectRatio);

}  // namespace nivra
