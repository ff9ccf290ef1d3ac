#pragma once

/// @file
/// Joint Kalman filter of a box, measured by its edges.

#include <Eigen/Core>

#include "nivra/export.h"
#include "nivra/geometry.h"
#include "nivra/kalmanParams.h"

namespace nivra {

/// Follows a box with one filter over x, vx, y, vy, w, vw, h, vh (centre, size and their velocities) and
/// measures it by its edges left, top, right, bottom.
///
/// Constant velocity, white acceleration noise as in `KalmanFilter1D`. All noise grows with the square of the
/// box's width; an edge near the picture's border has noise of its own. Association is gated by the
/// Mahalanobis distance of the four edges. Times are seconds.
///
/// No input is refused: a singular innovation covariance gives distances that are not a number, and those
/// fail the gate.
class NIVRA_EXPORT KalmanBoxFilter4D {
 public:
  // Unaligned: the layout of the class must not depend on the instruction set that a host compiles for.
  using StateVector = Eigen::Matrix<float, 8, 1, Eigen::DontAlign>;
  using StateMatrix = Eigen::Matrix<float, 8, 8, Eigen::DontAlign>;
  using EdgeVector = Eigen::Matrix<float, 4, 1, Eigen::DontAlign>;
  using EdgeMatrix = Eigen::Matrix<float, 4, 4, Eigen::DontAlign>;
  using StateToEdges = Eigen::Matrix<float, 4, 8, Eigen::DontAlign>;
  using EdgesToState = Eigen::Matrix<float, 8, 4, Eigen::DontAlign>;

  /// Starts at `box`, at rest.
  KalmanBoxFilter4D(const Box& box, const KalmanBoxParams4D& filterParams);

  /// Advances the state by `dt` seconds and fixes the innovation covariance that the distances and the next
  /// `update` use.
  void predict(float dt);

  /// Takes a detected box in.
  void update(const Box& box);

  /// Sets centre and size to those of `box`; velocities and covariance stay.
  void updateNoFilter(const Box& box);

  /// Ends growth and shrinking for a frame without a detection; the centre keeps its velocity.
  void emptyUpdate();

  /// Mahalanobis distance of the edges of `box` from the predicted ones, in standard deviations.
  float mahalanobisDistance(const Box& box) const;

  /// Whether that distance is within `mahalanobisLimit`.
  bool canAssociate(const Box& box) const;

  /// The filtered box; neither clamped to the picture nor kept from inverting.
  Box getBox() const;

  /// Velocity of the centre, picture units per second.
  Point getVelocity() const;

  /// (width / 0.2)^2, the factor on all variances.
  float sizeScalingFactor() const;

  /// Process noise of a step of `dt` seconds.
  StateMatrix getScaledQ(float dt) const;

  /// Observation noise of the four edges for the current state.
  EdgeMatrix getScaledR() const;

  /// H P H^T + R.
  EdgeMatrix getInnovationCovariance() const;

 private:
  EdgeVector residualOf(const Box& box) const;

  KalmanBoxParams4D params;
  StateVector stateVector;
  StateMatrix stateCovariance;
  StateMatrix transition;
  EdgesToState kalmanGain;
  StateToEdges observationModel;
  EdgeMatrix observationNoise;             // for a box 0.2 wide, away from the border
  EdgeMatrix innovationCovarianceInverse;  // as of the latest prediction
  EdgeVector processNoise;                 // of x, y, w, h
};

}  // namespace nivra
