#pragma once

#include <gtest/gtest.h>

#include <Eigen/LU>
#include <random>

#include "nivra/geometry.h"

namespace nivra::test {

/// Kalman filter of a box's centre, size and their velocities in textbook form and double precision.
struct DenseKalman {
  using Matrix = Eigen::MatrixXd;
  using Vector = Eigen::Vector4d;

  static Vector edgesOf(const Box& box) {
    return Eigen::Vector4f(box.left, box.top, box.right, box.bottom).cast<double>();
  }
  static Vector centreAndSizeOf(const Box& box) {
    const Vector e = edgesOf(box);
    return {(e(0) + e(2)) / 2, (e(1) + e(3)) / 2, e(2) - e(0), e(1) - e(3)};
  }

  void place(const Box& box) {
    for (int i = 0; i < 4; ++i) x(2 * i) = centreAndSizeOf(box)(i);
  }
  void predict(double dt, const Vector& accelerationVariances) {
    const Eigen::Vector2d step(dt * dt / 2, dt);
    Matrix f = Matrix::Identity(8, 8), q = Matrix::Zero(8, 8);
    for (int i = 0; i < 8; i += 2) {
      f(i, i + 1) = dt;
      q.block(i, i, 2, 2) = accelerationVariances(i / 2) * step * step.transpose();
    }
    x = f * x;
    p = f * p * f.transpose() + q;
  }
  Matrix innovation(const Vector& r) const { return h * p * h.transpose() + Matrix(r.asDiagonal()); }
  Vector residual(const Box& box) const { return measure(box) - h * x; }
  double squaredDistance(const Box& box, const Matrix& s) const {
    return residual(box).dot((s.inverse() * residual(box)).col(0));
  }

  /// Ends a frame of both filters in one of the ways that there are, and compares them.
  template <class Filter>
  void endFrame(Filter& filter, const Box& box, const Matrix& s) {
    const auto way = random() % 5;
    if (way == 0) {
      filter.updateNoFilter(box);
      place(box);
    } else if (way == 1) {
      filter.emptyUpdate();
      x(5) = x(7) = 0;
    } else {
      filter.update(box);
      const Matrix gain = p * h.transpose() * s.inverse();
      x += gain * residual(box);
      p -= gain * h * p;
    }
    ASSERT_NEAR(residual(filter.getBox()).norm(), 0, 1e-4);
    ASSERT_NEAR(filter.getVelocity().x, x(1), 1e-3);
    ASSERT_NEAR(filter.getVelocity().y, x(3), 1e-3);
  }

  float upTo(float high) { return high * static_cast<float>(random() % 1000) / 1000.0F; }

  Vector (*measure)(const Box&);
  Matrix x = Matrix::Zero(8, 1), p = Matrix::Zero(8, 8), h = Matrix::Zero(4, 8);
  std::mt19937 random{1};
};

}  // namespace nivra::test
