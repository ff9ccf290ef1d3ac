#pragma once

/// @file
/// Kalman filter of one coordinate.

#include <array>
#include <cstddef>
#include <string>

#include "nivra/export.h"
#include "nivra/kalmanParams.h"
#include "nivra/timeStep.h"

namespace nivra {

/// @cond
namespace internal {

/// States of independent filters side by side, so that one instruction can serve several of them.
template <std::size_t Axes>
struct AxisStates {
  using Values = std::array<float, Axes>;

  Values value{};
  Values velocity{};
  Values processNoiseVariance{};
  Values observationNoiseVariance{};
  Values variance{};          // P00
  Values velocityVariance{};  // P11
  Values covariance{};        // P01
};

}  // namespace internal
/// @endcond

/// Constant-velocity Kalman filter of one scalar coordinate.
///
/// State (value, velocity), covariance P, transition F = [[1, dt], [0, 1]], white acceleration noise
/// Q = q [[dt^4/4, dt^3/2], [dt^3/2, dt^2]], measurement matrix [1, 0] with variance R (Bar-Shalom, Li and
/// Kirubarajan, "Estimation with Applications to Tracking and Navigation", 2001, section 6.3). All times are
/// seconds.
///
/// Per frame: one `predict`, any number of likelihoods, at most one `update` or `updateNoFilter`.
/// Variances are expected to be positive; nothing is clamped.
class NIVRA_EXPORT KalmanFilter1D {
 public:
  /// Starts at `initialValue` with velocity 0.
  KalmanFilter1D(float initialValue, const KalmanParams1d& params);

  /// Advances the state by `dt` seconds.
  void predict(float dt) { predict(dt, 1.0F); }

  /// The same with the process noise of this step multiplied by `processNoiseScale`.
  void predict(float dt, float processNoiseScale);

  /// Takes a measurement in.
  void update(float measurement);

  /// Sets the value to the measurement; velocity and covariance stay.
  void updateNoFilter(float measurement);

  /// Variance of the measurement expected next, P00 + R.
  float getInnovationCovariance() const { return state.variance[0] + state.observationNoiseVariance[0]; }

  /// Gaussian density of the measurement under the prediction.
  float observationLikelihood(float measurement) const;

  /// Natural logarithm of that density; finite even where the density itself underflows to 0.
  float observationLogLikelihood(float measurement) const;

  /// Sets the measurement variance from the quality of a detection; it stays until it is set again.
  /// @param iou Objectness, 0 to 1.
  /// @param classScore Class score, 0 to 1.
  /// @throws std::out_of_range for a label without objectness settings; the variance then stays.
  void setObservationNoiseVariance(float iou, float classScore, const std::string& label);

 private:
  internal::AxisStates<1> state;
  ObjectnessParams objectnessParams;
};

/// The logistic curve 1 / (1 + exp(2 ln 19 / width * (center - x))).
NIVRA_EXPORT float calculateSigmoid(float x, const SigmoidParams& params);

/// Measurement variance for a detection of a given quality: max - (max - min) * sqrt(a * b), where a and b
/// are the curves of objectness and class score.
/// @param iou Objectness, 0 to 1.
/// @param classScore Class score, 0 to 1.
/// @throws std::out_of_range "map::at" for a label without a curve.
NIVRA_EXPORT float calculateObservationNoise(float iou, float classScore, const ObjectnessParams& params,
                                             const std::string& label);

}  // namespace nivra
