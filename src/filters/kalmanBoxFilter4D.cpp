#include "nivra/kalmanBoxFilter4D.h"

#include <Eigen/LU>
#include <cmath>
#include <limits>

#include "core/boxGeometry.h"

namespace nivra {

namespace {

// Positions in the state of a direction; each is followed by its velocity.
enum State { kCenter = 0, kSize = 2 };

// Positions in a pair of edges, and in the edges of a box.
enum Edge { kLow, kHigh };
enum BoxEdge { kLeft, kTop, kRight, kBottom };

constexpr float kReferenceWidth = 0.2F;  // the width for which the parameters hold, a tenth of the picture
constexpr float kBorderMargin = 0.04F;   // an edge nearer than this to its side of the picture is at the border

/// Covariance that a white acceleration of variance 1 gives a coordinate and its velocity.
Eigen::Matrix2f accelerationNoise(const TimeStep& step) {
  return Eigen::Matrix2f{{step.dt4 * 0.25F, step.dt3 * 0.5F}, {step.dt3 * 0.5F, step.dt2}};
}

}  // namespace

// Motion: centre and size each move by their velocities.
void KalmanBoxFilter4D::Direction::predict(float dt) {
  for (const int coordinate : {kCenter, kSize}) {
    state[coordinate] += dt * state[coordinate + 1];
    covariance.row(coordinate) += dt * covariance.row(coordinate + 1);
  }
  for (const int coordinate : {kCenter, kSize}) covariance.col(coordinate) += dt * covariance.col(coordinate + 1);
}

void KalmanBoxFilter4D::Direction::addProcessNoise(const TimeStep& step, float centerNoise, float sizeNoise) {
  const Eigen::Matrix2f unit = accelerationNoise(step);
  covariance.block<2, 2>(kCenter, kCenter) += centerNoise * unit;
  covariance.block<2, 2>(kSize, kSize) += sizeNoise * unit;
}

// Observation: the edges lie half a size below and above the centre.
KalmanBoxFilter4D::Direction::Edges KalmanBoxFilter4D::Direction::edges() const {
  return {state[kCenter] - 0.5F * state[kSize], state[kCenter] + 0.5F * state[kSize]};
}

KalmanBoxFilter4D::Direction::EdgeCovariance KalmanBoxFilter4D::Direction::predictedEdgeCovariance() const {
  const float centerTerm = covariance(kCenter, kCenter) + 0.25F * covariance(kSize, kSize);
  const float mixedTerm = covariance(kCenter, kSize);
  const float between = covariance(kCenter, kCenter) - 0.25F * covariance(kSize, kSize);
  return EdgeCovariance{{centerTerm - mixedTerm, between}, {between, centerTerm + mixedTerm}};
}

void KalmanBoxFilter4D::Direction::update(const Edges& residual) {
  Eigen::Matrix<float, 4, 2> withEdges;  // covariance of the state with the edges
  withEdges.col(kLow) = covariance.col(kCenter) - 0.5F * covariance.col(kSize);
  withEdges.col(kHigh) = covariance.col(kCenter) + 0.5F * covariance.col(kSize);
  const Eigen::Matrix<float, 4, 2> gain = withEdges.lazyProduct(innovationCovarianceInverse);
  state += gain.lazyProduct(residual);
  covariance -= gain.lazyProduct(withEdges.transpose());
}

KalmanBoxFilter4D::KalmanBoxFilter4D(const Box& box, const KalmanBoxParams4D& filterParams) : params(filterParams) {
  for (Direction* direction : {&horizontal, &vertical}) {
    direction->state.setZero();
    direction->covariance.setZero();
    direction->innovationCovarianceInverse.setIdentity();
  }
  updateNoFilter(box);
  const float s = sizeScalingFactor();
  horizontal.covariance.diagonal() << s * params.initialVarianceX, s * params.initialVelocityVarianceX,
      s * params.initialVarianceW, s * params.initialVelocityVarianceX;
  vertical.covariance.diagonal() << s * params.initialVarianceY, s * params.initialVelocityVarianceY,
      s * params.initialVarianceH, s * params.initialVelocityVarianceY;
}

void KalmanBoxFilter4D::predict(const TimeStep& step) {
  horizontal.predict(step.dt);
  vertical.predict(step.dt);
  const float s = sizeScalingFactor();
  horizontal.addProcessNoise(step, s * params.processNoiseVarianceX, s * params.processNoiseVarianceW);
  vertical.addProcessNoise(step, s * params.processNoiseVarianceY, s * params.processNoiseVarianceH);

  const EdgeVector variances = scaledEdgeVariances();
  const auto invertInnovation = [](Direction& direction, float lowVariance, float highVariance) {
    auto innovationCovariance = direction.predictedEdgeCovariance();
    innovationCovariance.diagonal() += Direction::Edges(lowVariance, highVariance);
    direction.innovationCovarianceInverse = innovationCovariance.inverse();
  };
  invertInnovation(horizontal, variances[kLeft], variances[kRight]);
  invertInnovation(vertical, variances[kBottom], variances[kTop]);
}

void KalmanBoxFilter4D::update(const Box& box) {
  horizontal.update(Direction::Edges(box.left, box.right) - horizontal.edges());
  vertical.update(Direction::Edges(box.bottom, box.top) - vertical.edges());
}

void KalmanBoxFilter4D::updateNoFilter(const Box& box) {
  const Point boxCenter = center(box);
  horizontal.state[kCenter] = boxCenter.x;
  horizontal.state[kSize] = width(box);
  vertical.state[kCenter] = boxCenter.y;
  vertical.state[kSize] = height(box);
}

void KalmanBoxFilter4D::emptyUpdate() {
  horizontal.state[kSize + 1] = 0.0F;
  vertical.state[kSize + 1] = 0.0F;
}

float KalmanBoxFilter4D::squaredMahalanobisDistance(const Box& box) const {
  const auto squaredDistance = [](const Direction& direction, float low, float high) {
    const Direction::Edges residual = Direction::Edges(low, high) - direction.edges();
    return residual.dot(direction.innovationCovarianceInverse.lazyProduct(residual));
  };
  return squaredDistance(horizontal, box.left, box.right) + squaredDistance(vertical, box.bottom, box.top);
}

float KalmanBoxFilter4D::mahalanobisDistance(const Box& box) const {
  return std::sqrt(squaredMahalanobisDistance(box));
}

bool KalmanBoxFilter4D::canAssociate(const Box& box) const {
  return params.mahalanobisLimit >= mahalanobisDistance(box);
}

Point KalmanBoxFilter4D::getMaxEdgeOffset() const {
  // Of all residuals with a given lower edge, one whose higher edge makes up for it best has the least distance. With
  // the inverse [[a, b], [b, c]] its square is the lower residual's times (a c - b^2) / c.
  constexpr float kLeastIndependence = 1e-3F;  // below it, rounding could make a distance too small by a per cent
  constexpr float kMargin = 1.01F;
  const auto reachOf = [this](const Direction& direction) {
    const float a = direction.innovationCovarianceInverse(kLow, kLow);
    const float b = direction.innovationCovarianceInverse(kLow, kHigh);
    const float c = direction.innovationCovarianceInverse(kHigh, kHigh);
    const float determinant = a * c - b * b;
    if (!(a > 0.0F && c > 0.0F && determinant > kLeastIndependence * (a * c))) return -1.0F;
    return params.mahalanobisLimit * std::sqrt(c / determinant) * kMargin;
  };
  const Point reach = {reachOf(horizontal), reachOf(vertical)};
  // If one direction's distance could come out negative, it would let the other go farther.
  if (reach.x >= 0.0F && reach.y >= 0.0F) return reach;
  return {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity()};
}

Box KalmanBoxFilter4D::getBox() const {
  const Direction::Edges x = horizontal.edges();
  const Direction::Edges y = vertical.edges();
  return {x[kLow], y[kHigh], x[kHigh], y[kLow]};
}

Point KalmanBoxFilter4D::getVelocity() const { return {horizontal.state[kCenter + 1], vertical.state[kCenter + 1]}; }

float KalmanBoxFilter4D::sizeScalingFactor() const {
  const float relativeWidth = horizontal.state[kSize] / kReferenceWidth;
  return relativeWidth * relativeWidth;
}

KalmanBoxFilter4D::EdgeVector KalmanBoxFilter4D::scaledEdgeVariances() const {
  const Box box = getBox();
  const bool isAtBorder[] = {std::abs(box.left + 1.0F) < kBorderMargin, std::abs(box.top - 1.0F) < kBorderMargin,
                             std::abs(box.right - 1.0F) < kBorderMargin, std::abs(box.bottom + 1.0F) < kBorderMargin};
  EdgeVector factors;
  if (isAtBorder[kLeft] || isAtBorder[kTop] || isAtBorder[kRight] || isAtBorder[kBottom]) {
    for (const int edge : {kLeft, kTop, kRight, kBottom}) {
      factors[edge] = isAtBorder[edge] ? params.borderNoiseScaleFactor1 : params.borderNoiseScaleFactor2;
    }
  } else {
    factors << 1.0F, params.observationNoiseTopDeviation, 1.0F, params.observationNoiseBottomDeviation;
  }
  const float unit = params.defaultObservationNoise;
  const float verticalUnit = unit * params.aspectRatioSquared;
  return sizeScalingFactor() * EdgeVector(unit, verticalUnit, unit, verticalUnit).cwiseProduct(factors);
}

KalmanBoxFilter4D::StateMatrix KalmanBoxFilter4D::getScaledQ(float dt) const {
  const Eigen::Matrix2f unit = accelerationNoise(TimeStep(dt));
  const float variances[] = {params.processNoiseVarianceX, params.processNoiseVarianceY, params.processNoiseVarianceW,
                             params.processNoiseVarianceH};
  StateMatrix q = StateMatrix::Zero();
  for (Eigen::Index i = 0; i < 4; ++i) q.block<2, 2>(2 * i, 2 * i) = sizeScalingFactor() * variances[i] * unit;
  return q;
}

KalmanBoxFilter4D::EdgeMatrix KalmanBoxFilter4D::getScaledR() const { return scaledEdgeVariances().asDiagonal(); }

KalmanBoxFilter4D::EdgeMatrix KalmanBoxFilter4D::getInnovationCovariance() const {
  const auto x = horizontal.predictedEdgeCovariance();
  const auto y = vertical.predictedEdgeCovariance();
  EdgeMatrix s = getScaledR();
  s(kLeft, kLeft) += x(kLow, kLow);
  s(kRight, kRight) += x(kHigh, kHigh);
  s(kLeft, kRight) = s(kRight, kLeft) = x(kLow, kHigh);
  s(kBottom, kBottom) += y(kLow, kLow);
  s(kTop, kTop) += y(kHigh, kHigh);
  s(kBottom, kTop) = s(kTop, kBottom) = y(kLow, kHigh);
  return s;
}

}  // namespace nivra
