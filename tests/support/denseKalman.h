#pragma once

#include <Eigen/LU>
#include <algorithm>
#include <cmath>

#include "nivra/kalmanParams.h"
#include "nivra/matrix.h"
#include "support/detections.h"

namespace nivra::test {

template <std::size_t Rows, std::size_t Columns>
Eigen::Matrix<float, Rows, Columns> entriesOf(const Matrix<Rows, Columns>& matrix) {
  return Eigen::Map<const Eigen::Matrix<float, Rows, Columns, Eigen::RowMajor>>(matrix.data());
}

/// Kalman filter of a box in textbook form and double precision. Its state is x, vx, y, vy, w, vw, h, vh: centre and
/// size with their velocities.
struct DenseKalman {
  using Four = Eigen::Vector4d;
  using Noise = Eigen::Matrix4d;

  static Four edgesOf(const Box& box) { return {box.left, box.top, box.right, box.bottom}; }
  static Four centreAndSizeOf(const Box& box) {
    const Four e = edgesOf(box);
    return {(e(0) + e(2)) / 2, (e(1) + e(3)) / 2, e(2) - e(0), e(1) - e(3)};
  }

  void place(const Box& box) {
    for (int i = 0; i < 4; ++i) x(2 * i) = centreAndSizeOf(box)(i);
  }
  void move(double dt) {
    f.setIdentity();
    for (int i = 0; i < 8; i += 2) f(i, i + 1) = dt;
    x = f * x;
    p = f * p * f.transpose();
  }
  void addProcessNoise(double dt, const Four& accelerationVariances) {
    const Eigen::Vector2d step(dt * dt / 2, dt);
    for (int i = 0; i < 4; ++i) p.block<2, 2>(2 * i, 2 * i) += accelerationVariances(i) * step * step.transpose();
  }
  Noise innovation() const { return h * p * h.transpose() + r; }
  /// Joseph's form of the update, which holds for hours: it neither loses symmetry nor turns negative.
  void take(const Four& residual, const Noise& s) {
    const Eigen::Matrix<double, 8, 4> gain = p * h.transpose() * s.inverse();
    const Eigen::Matrix<double, 8, 8> rest = Eigen::Matrix<double, 8, 8>::Identity() - gain * h;
    x += gain * residual;
    p = rest * p * rest.transpose() + gain * r * gain.transpose();
  }
  void emptyUpdate() { x(5) = x(7) = 0; }

  Eigen::Matrix<double, 8, 1> x = Eigen::Matrix<double, 8, 1>::Zero();
  Eigen::Matrix<double, 8, 8> p = Eigen::Matrix<double, 8, 8>::Zero(), f;
  Eigen::Matrix<double, 4, 8> h = Eigen::Matrix<double, 4, 8>::Zero();
  Noise r = Noise::Zero();
};

/// Measures centre and size, each axis with noise of its own.
struct DenseAxes : DenseKalman {
  DenseAxes(const Box& box, const KalmanBoxParams& params)
      : axes{params.xParams, params.yParams, params.wParams, params.hParams} {
    place(box);
    for (int i = 0; i < 4; ++i) {
      q(i) = axes[i].processNoiseVariance;
      r(i, i) = axes[i].observationNoiseVariance;
      p(2 * i, 2 * i) = axes[i].initialVariance;
      p(2 * i + 1, 2 * i + 1) = axes[i].initialVelocityVariance;
      h(i, 2 * i) = 1;
    }
  }

  void predict(double dt, const Four& noiseFactors = Four::Ones()) {
    move(dt);
    addProcessNoise(dt, q.cwiseProduct(noiseFactors));
  }
  void setObservationNoise(double iou, double classScore, const std::string& label) {
    const auto sigmoid = [](double at, const SigmoidParams& curve) {
      return 1 / (1 + std::exp(2 * std::log(19.0) / curve.width * (curve.center - at)));
    };
    for (int i = 0; i < 4; ++i) {
      const auto& [iouSigmoid, classSigmoids, min, max] = axes[i].objectnessParams;
      r(i, i) = max - (max - min) * std::sqrt(sigmoid(iou, iouSigmoid) * sigmoid(classScore, classSigmoids.at(label)));
    }
  }
  void update(const Box& box) { take(residual(box), innovation()); }
  Four residual(const Box& box) const { return centreAndSizeOf(box) - h * x; }
  double squaredDistance(const Box& box) const { return residual(box).dot(innovation().inverse() * residual(box)); }
  double logLikelihood(const Box& box) const {
    return -0.5 * (squaredDistance(box) + std::log((2 * M_PI * innovation()).determinant()));
  }
  double gateRadius(int axis) const { return std::sqrt(12.115665 * innovation()(axis, axis)); }
  Four edges() const {
    const double width = std::max(x(4), 1e-6), height = std::max(x(6), 1e-6);
    return {x(0) - width / 2, x(2) + height / 2, x(0) + width / 2, x(2) - height / 2};
  }

  KalmanParams1d axes[4];
  Four q;
};

/// Measures the edges, with noise that grows with the width and is another at the picture's border.
struct DenseEdges : DenseKalman {
  DenseEdges(const Box& box, const KalmanBoxParams4D& filterParams) : params(filterParams) {
    place(box);
    h << 1, 0, 0, 0, -.5, 0, 0, 0, 0, 0, 1, 0, 0, 0, .5, 0, 1, 0, 0, 0, .5, 0, 0, 0, 0, 0, 1, 0, 0, 0, -.5, 0;
    p.diagonal() << params.initialVarianceX, params.initialVelocityVarianceX, params.initialVarianceY,
        params.initialVelocityVarianceY, params.initialVarianceW, params.initialVelocityVarianceX,
        params.initialVarianceH, params.initialVelocityVarianceY;
    p *= scale();
  }

  void predict(double dt) {
    move(dt);
    addProcessNoise(dt, processNoise());
    r = observationNoise();
    s = innovation();
  }
  Four processNoise() const {
    return scale() * Four(params.processNoiseVarianceX, params.processNoiseVarianceY, params.processNoiseVarianceW,
                          params.processNoiseVarianceH);
  }
  Noise observationNoise() const {
    const Four sides(-1, 1, 1, -1);
    Four factors(1, params.observationNoiseTopDeviation, 1, params.observationNoiseBottomDeviation);
    const auto isAtBorder = ((edges() - sides).array().abs() < 0.04).eval();
    for (int i = 0; i < 4 && isAtBorder.any(); ++i) {
      factors(i) = isAtBorder(i) ? params.borderNoiseScaleFactor1 : params.borderNoiseScaleFactor2;
    }
    factors(1) *= params.aspectRatioSquared;
    factors(3) *= params.aspectRatioSquared;
    return (scale() * params.defaultObservationNoise * factors).asDiagonal();
  }
  void update(const Box& box) { take(edgesOf(box) - edges(), s); }
  double distance(const Box& box) const {
    const Four residual = edgesOf(box) - edges();
    return std::sqrt(residual.dot(s.inverse() * residual));
  }
  double scale() const { return std::pow(x(4) / 0.2, 2); }
  Four edges() const { return h * x; }

  KalmanBoxParams4D params;
  Noise s = Noise::Identity();
};

}  // namespace nivra::test
