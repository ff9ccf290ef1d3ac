#pragma once

/// @file
/// Kalman filter of a box, axis by axis.

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "nivra/export.h"
#include "nivra/geometry.h"
#include "nivra/kalmanFilter1D.h"
#include "nivra/kalmanParams.h"
#include "nivra/timeStep.h"

namespace nivra {

/// Follows a box through time as four independent one-dimensional filters: centre x, centre y, width and
/// height. Times are seconds, coordinates those of the normalised picture.
class NIVRA_EXPORT KalmanBoxFilter {
 public:
  /// What the four axes measure of a box: centre x, centre y, width, height.
  using Measurement = std::array<float, 4>;
  /// Of a box.
  static Measurement measure(const Box& box) {
    const Point boxCenter = center(box);
    return {boxCenter.x, boxCenter.y, width(box), height(box)};
  }

  /// Starts at `box`, at rest.
  KalmanBoxFilter(const Box& box, const KalmanBoxParams& ownParams);

  /// Advances all axes by `dt` seconds.
  void predict(float dt);

  /// Advances all axes by `dt` seconds with their process noise scaled.
  /// @param processNoiseScales Factors for centre x, centre y, width and height; more are ignored.
  /// @throws std::invalid_argument for fewer than four factors; nothing has changed then.
  void predict(float dt, const std::vector<float>& processNoiseScales);

  /// Whether `box` lies within the 0.9995 chi-square quantile of the prediction, all four axes together.
  bool canAssociate(const Box& box) const;

  /// Whether the centre of `box` lies within the 0.9995 chi-square quantile on each axis, with offsets
  /// measured in units of `scale` times the filtered width.
  bool canAssociateScaledDistance(const Box& box, float scale) const;

  /// Density of `box` under the prediction: the product over the four axes.
  float observationLikelihood(const Box& box) const;

  /// Natural logarithm of that density, summed over the axes; finite where the density underflows.
  float observationLogLikelihood(const Box& box) const;

  /// Sets the measurement noise of all axes from the quality of a detection; it stays until set again.
  /// @param iou Objectness, 0 to 1.
  /// @param classScore Class score, 0 to 1.
  /// @throws std::out_of_range for a label without objectness settings.
  void setObservationNoise(float iou, float classScore, const std::string& label);

  /// Whether `setObservationNoise` knows the label.
  bool hasObjectnessSettings(const std::string& label) const;

  /// Takes a detected box in.
  void update(const Box& box);

  /// Sets centre and size to those of `box`; velocities and covariances stay.
  void updateNoFilter(const Box& box);

  /// Ends growth and shrinking for a frame without a detection; the centre keeps its velocity.
  void emptyUpdate();

  /// The filtered box, at least 1e-6 wide and high; not clamped to the picture.
  Box getBox() const {
    constexpr float kMinimumSize = 1e-6F;
    const auto [x, y, filteredWidth, filteredHeight] = state.value;
    const float w = filteredWidth < kMinimumSize ? kMinimumSize : filteredWidth;
    const float h = filteredHeight < kMinimumSize ? kMinimumSize : filteredHeight;
    return {x - w * 0.5F, y + h * 0.5F, x + w * 0.5F, y - h * 0.5F};
  }

  /// Velocity of the centre, picture units per second.
  Point getVelocity() const;

  /// Largest offset of the centre on each axis that the single-axis gate accepts, picture units.
  Point getMaxPositionDifference() const;

  /// `getMaxPositionDifference()` times `scale` and the filtered width.
  Point getMaxPositionDifferenceScaled(float scale) const;

  /// @name For the trackers alone
  /// What they have worked out once per frame already is not worked out again for each track or pair.
  /// @{

  /// With parameters that several filters share.
  NIVRA_HIDDEN KalmanBoxFilter(const Box& box, std::shared_ptr<const KalmanBoxParams> sharedParams);
  NIVRA_HIDDEN void predict(const TimeStep& step,
                            const std::array<float, 4>& processNoiseScales = {1.0F, 1.0F, 1.0F, 1.0F});
  /// Squared distance of a measured box from the prediction, all four axes together, in variances.
  NIVRA_HIDDEN float squaredDistance(const Measurement& measurement) const;
  /// `observationLikelihood` of a box that is measured.
  NIVRA_HIDDEN float likelihoodOf(const Measurement& measurement) const;
  /// What both are made of.
  NIVRA_HIDDEN const internal::AxisStates<4>& getAxes() const { return state; }
  /// @}

 private:
  template <class Archive>
  friend void fields(Archive& archive, KalmanBoxFilter& filter);

  internal::AxisStates<4> state;
  std::shared_ptr<const KalmanBoxParams> params;
};

}  // namespace nivra
