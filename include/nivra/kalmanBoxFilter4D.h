#pragma once

/// @file
/// Joint Kalman filter of a box, measured by its edges.

#include <array>
#include <cstddef>

#include "nivra/export.h"
#include "nivra/geometry.h"
#include "nivra/kalmanParams.h"
#include "nivra/matrix.h"
#include "nivra/timeStep.h"

namespace nivra {

/// Follows a box with one filter over x, vx, y, vy, w, vw, h, vh (centre, size and their velocities) and
/// measures it by its edges left, top, right, bottom.
///
/// Constant velocity, white acceleration noise as in `KalmanFilter1D`. All noise grows with the square of the
/// box's width; an edge near the picture's border has noise of its own. Association is gated by the
/// Mahalanobis distance of the four edges. Times are seconds.
///
/// State and covariance are kept in double precision. In single precision the update, which subtracts nearly equal
/// matrices when a prediction went far, leaves a covariance that belongs to no filter after a pause of the camera.
///
/// No input is refused: a singular innovation covariance gives distances that are not a number, and those
/// fail the gate.
class NIVRA_EXPORT KalmanBoxFilter4D {
 public:
  using StateMatrix = Matrix<8, 8>;  ///< Rows and columns are x, vx, y, vy, w, vw, h, vh.
  using EdgeMatrix = Matrix<4, 4>;   ///< Rows and columns are left, top, right, bottom.

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

  /// @name For the trackers alone
  /// @{

  /// `predict` for a step that several tracks take.
  NIVRA_HIDDEN void predict(const TimeStep& step);
  /// Offsets of the left (x) and the bottom (y) edge that no box accepted by `canAssociate` exceeds; infinite where the
  /// innovation covariance is too near to a singular one to tell.
  NIVRA_HIDDEN Point getMaxEdgeOffset() const;
  float getMahalanobisLimit() const { return params.mahalanobisLimit; }
  /// @}

 private:
  template <class Archive>
  friend void fields(Archive& archive, KalmanBoxFilter4D& filter);

  /// A quantity of the horizontal and of the vertical direction of the box, computed side by side. Neither the motion
  /// nor the edges couple the two directions, so the filter over eight coordinates falls apart into two over four:
  /// those entries of its matrices that would join the two are 0 and stay 0.
  struct Both {
    double horizontal;
    double vertical;

    friend Both operator+(Both a, Both b) { return {a.horizontal + b.horizontal, a.vertical + b.vertical}; }
    friend Both operator-(Both a, Both b) { return {a.horizontal - b.horizontal, a.vertical - b.vertical}; }
    friend Both operator*(Both a, Both b) { return {a.horizontal * b.horizontal, a.vertical * b.vertical}; }
    friend Both operator/(Both a, Both b) { return {a.horizontal / b.horizontal, a.vertical / b.vertical}; }
    friend Both operator*(double a, Both b) { return {a * b.horizontal, a * b.vertical}; }
    void operator+=(Both other) { *this = *this + other; }
    void operator-=(Both other) { *this = *this - other; }
  };

  /// Symmetric matrix over centre, its velocity, size and its velocity. Each entry above the diagonal stands for the
  /// one below as well, so rounding can't make the two differ.
  struct Covariance {
    Both& operator()(int row, int column) { return entries[indexOf(row, column)]; }
    const Both& operator()(int row, int column) const { return entries[indexOf(row, column)]; }

   private:
    static constexpr std::size_t indexOf(int row, int column) {
      return static_cast<std::size_t>(row <= column ? row * (7 - row) / 2 + column : column * (7 - column) / 2 + row);
    }
    std::array<Both, 10> entries{};
  };

  /// Symmetric matrix over a lower and a higher edge: left and right, or bottom and top.
  struct EdgeCovariance {
    Both low;
    Both between;
    Both high;
  };

  NIVRA_HIDDEN Both lowEdges() const;
  NIVRA_HIDDEN Both highEdges() const;
  NIVRA_HIDDEN EdgeCovariance predictedEdgeCovariance() const;
  /// Observation noise of left, top, right and bottom.
  NIVRA_HIDDEN std::array<float, 4> scaledEdgeVariances() const;
  NIVRA_HIDDEN float squaredMahalanobisDistance(const Box& box) const;

  KalmanBoxParams4D params;
  std::array<Both, 4> state;  // centre, its velocity, size, its velocity
  Covariance covariance;
  EdgeCovariance innovationCovarianceInverse;  // as of the latest prediction
};

}  // namespace nivra
