#include "nivra/kalmanBoxFilter4D.h"

#include <cmath>
#include <limits>

#include "core/boxGeometry.h"
#include "filters/filterGates.h"

namespace nivra {

namespace {

// Positions in the state; centre and size are each followed by their velocity.
enum State { kCenter, kCenterVelocity, kSize, kSizeVelocity, kStates };

// Positions in the edges of a box.
enum BoxEdge { kLeft, kTop, kRight, kBottom };

constexpr float kReferenceWidth = 0.2F;  // the width for which the parameters hold, a tenth of the picture
constexpr float kBorderMargin = 0.04F;   // an edge nearer than this to its side of the picture is at the border

}  // namespace

KalmanBoxFilter4D::KalmanBoxFilter4D(const Box& box, const KalmanBoxParams4D& filterParams)
    : params(filterParams), state{}, innovationCovarianceInverse{{1.0, 1.0}, {0.0, 0.0}, {1.0, 1.0}} {
  updateNoFilter(box);
  const double s = sizeScalingFactor();
  const Both velocityVariance = {params.initialVelocityVarianceX, params.initialVelocityVarianceY};
  covariance(kCenter, kCenter) = s * Both{params.initialVarianceX, params.initialVarianceY};
  covariance(kCenterVelocity, kCenterVelocity) = s * velocityVariance;
  covariance(kSize, kSize) = s * Both{params.initialVarianceW, params.initialVarianceH};
  covariance(kSizeVelocity, kSizeVelocity) = s * velocityVariance;
}

void KalmanBoxFilter4D::predict(float dt) { predict(TimeStep(dt)); }

void KalmanBoxFilter4D::predict(const TimeStep& step) {
  // Motion: centre and size each move by their velocities, F x and F P F^T.
  const double dt = step.dt;
  state[kCenter] += dt * state[kCenterVelocity];
  state[kSize] += dt * state[kSizeVelocity];
  Covariance& p = covariance;
  for (const int i : {kCenter, kSize}) {
    p(i, i) += dt * p(i, i + 1);
    p(i, i + 1) += dt * p(i + 1, i + 1);
    p(i, i) += dt * p(i, i + 1);
  }
  p(kCenterVelocity, kSize) += dt * p(kCenterVelocity, kSizeVelocity);
  p(kCenter, kSize) += dt * (p(kCenter, kSizeVelocity) + p(kCenterVelocity, kSize));
  p(kCenter, kSizeVelocity) += dt * p(kCenterVelocity, kSizeVelocity);

  // White acceleration. Its powers of dt in double precision: rounded to single, they need not form a covariance.
  const double s = sizeScalingFactor();
  const Both centerNoise = (s * dt * dt) * Both{params.processNoiseVarianceX, params.processNoiseVarianceY};
  const Both sizeNoise = (s * dt * dt) * Both{params.processNoiseVarianceW, params.processNoiseVarianceH};
  p(kCenter, kCenter) += (0.25 * dt * dt) * centerNoise;
  p(kCenter, kCenterVelocity) += (0.5 * dt) * centerNoise;
  p(kCenterVelocity, kCenterVelocity) += centerNoise;
  p(kSize, kSize) += (0.25 * dt * dt) * sizeNoise;
  p(kSize, kSizeVelocity) += (0.5 * dt) * sizeNoise;
  p(kSizeVelocity, kSizeVelocity) += sizeNoise;

  const std::array<float, 4> variances = scaledEdgeVariances();
  EdgeCovariance innovation = predictedEdgeCovariance();
  innovation.low += Both{variances[kLeft], variances[kBottom]};
  innovation.high += Both{variances[kRight], variances[kTop]};
  const Both determinant = innovation.low * innovation.high - innovation.between * innovation.between;
  innovationCovarianceInverse = {innovation.high / determinant, -1.0 * (innovation.between / determinant),
                                 innovation.low / determinant};
}

// Observation: the edges lie half a size below and above the centre.
KalmanBoxFilter4D::Both KalmanBoxFilter4D::lowEdges() const { return state[kCenter] - 0.5 * state[kSize]; }

KalmanBoxFilter4D::Both KalmanBoxFilter4D::highEdges() const { return state[kCenter] + 0.5 * state[kSize]; }

KalmanBoxFilter4D::EdgeCovariance KalmanBoxFilter4D::predictedEdgeCovariance() const {
  const Both ofCenter = covariance(kCenter, kCenter);
  const Both ofSize = 0.25 * covariance(kSize, kSize);
  const Both mixed = covariance(kCenter, kSize);
  return {ofCenter + ofSize - mixed, ofCenter - ofSize, ofCenter + ofSize + mixed};
}

void KalmanBoxFilter4D::update(const Box& box) {
  const Both lowResidual = Both{box.left, box.bottom} - lowEdges();
  const Both highResidual = Both{box.right, box.top} - highEdges();
  std::array<Both, kStates> withLow;  // covariance of the state with the edges, P H^T
  std::array<Both, kStates> withHigh;
  for (int i = 0; i < kStates; ++i) {
    const Both withCenter = covariance(i, kCenter);
    const Both withHalfSize = 0.5 * covariance(i, kSize);
    withLow[static_cast<std::size_t>(i)] = withCenter - withHalfSize;
    withHigh[static_cast<std::size_t>(i)] = withCenter + withHalfSize;
  }
  const auto& [low, between, high] = innovationCovarianceInverse;
  for (int i = 0; i < kStates; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const Both lowGain = withLow[at] * low + withHigh[at] * between;
    const Both highGain = withLow[at] * between + withHigh[at] * high;
    state[at] += lowGain * lowResidual + highGain * highResidual;
    for (int j = i; j < kStates; ++j) {
      const auto other = static_cast<std::size_t>(j);
      covariance(i, j) -= lowGain * withLow[other] + highGain * withHigh[other];
    }
  }
}

void KalmanBoxFilter4D::updateNoFilter(const Box& box) {
  const Point boxCenter = center(box);
  state[kCenter] = {boxCenter.x, boxCenter.y};
  state[kSize] = {width(box), height(box)};
}

void KalmanBoxFilter4D::emptyUpdate() { state[kSizeVelocity] = {}; }

float KalmanBoxFilter4D::squaredMahalanobisDistance(const Box& box) const {
  const Both lowResidual = Both{box.left, box.bottom} - lowEdges();
  const Both highResidual = Both{box.right, box.top} - highEdges();
  const auto& [low, between, high] = innovationCovarianceInverse;
  const Both squares = lowResidual * (low * lowResidual + between * highResidual) +
                       highResidual * (between * lowResidual + high * highResidual);
  return static_cast<float>(squares.horizontal + squares.vertical);
}

float KalmanBoxFilter4D::mahalanobisDistance(const Box& box) const {
  return std::sqrt(squaredMahalanobisDistance(box));
}

bool KalmanBoxFilter4D::canAssociate(const Box& box) const { return isNearPrediction(*this, box, Unheard()); }

Point KalmanBoxFilter4D::getMaxEdgeOffset() const {
  // Of all residuals with a given lower edge, one whose higher edge makes up for it best has the least distance. With
  // the inverse [[a, b], [b, c]] its square is the lower residual's times (a c - b^2) / c.
  const auto reachOf = [this](double a, double b, double c, double edge) {
    // Below, the distance could come out smaller than it is by more than the margin: the two products that make it up
    // are then up to 1e9 times their sum, and each is rounded by some 1e-16 of itself.
    constexpr double kLeastIndependence = 1e-9;
    // Far more than that, and than the rounding of the distance to single precision, 1e-7 of itself.
    constexpr double kMargin = 1.001;
    // Callers measure offsets from the filtered box, whose edges are rounded to single precision, by half of this.
    constexpr double kEdgeRounding = std::numeric_limits<float>::epsilon();
    const double determinant = a * c - b * b;
    if (!(a > 0.0 && c > 0.0 && determinant > kLeastIndependence * (a * c))) return -1.0F;
    const double reach = params.mahalanobisLimit * std::sqrt(c / determinant);
    return static_cast<float>(reach * kMargin + kEdgeRounding * std::abs(edge));
  };
  const auto& [low, between, high] = innovationCovarianceInverse;
  const Both edges = lowEdges();
  const Point reach = {reachOf(low.horizontal, between.horizontal, high.horizontal, edges.horizontal),
                       reachOf(low.vertical, between.vertical, high.vertical, edges.vertical)};
  // If one direction's distance could come out negative, it would let the other go farther.
  if (reach.x >= 0.0F && reach.y >= 0.0F) return reach;
  return {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity()};
}

Box KalmanBoxFilter4D::getBox() const {
  const Both low = lowEdges();
  const Both high = highEdges();
  return {static_cast<float>(low.horizontal), static_cast<float>(high.vertical), static_cast<float>(high.horizontal),
          static_cast<float>(low.vertical)};
}

Point KalmanBoxFilter4D::getVelocity() const {
  const Both& velocity = state[kCenterVelocity];
  return {static_cast<float>(velocity.horizontal), static_cast<float>(velocity.vertical)};
}

float KalmanBoxFilter4D::sizeScalingFactor() const {
  const float relativeWidth = static_cast<float>(state[kSize].horizontal) / kReferenceWidth;
  return relativeWidth * relativeWidth;
}

std::array<float, 4> KalmanBoxFilter4D::scaledEdgeVariances() const {
  const Box box = getBox();
  const std::array<bool, 4> isAtBorder = {
      std::abs(box.left + 1.0F) < kBorderMargin, std::abs(box.top - 1.0F) < kBorderMargin,
      std::abs(box.right - 1.0F) < kBorderMargin, std::abs(box.bottom + 1.0F) < kBorderMargin};
  std::array<float, 4> factors = {1.0F, params.observationNoiseTopDeviation, 1.0F,
                                  params.observationNoiseBottomDeviation};
  if (isAtBorder[kLeft] || isAtBorder[kTop] || isAtBorder[kRight] || isAtBorder[kBottom]) {
    for (const BoxEdge edge : {kLeft, kTop, kRight, kBottom}) {
      factors[edge] = isAtBorder[edge] ? params.borderNoiseScaleFactor1 : params.borderNoiseScaleFactor2;
    }
  }
  const float s = sizeScalingFactor();
  const float unit = params.defaultObservationNoise;
  const float verticalUnit = unit * params.aspectRatioSquared;
  return {s * (unit * factors[kLeft]), s * (verticalUnit * factors[kTop]), s * (unit * factors[kRight]),
          s * (verticalUnit * factors[kBottom])};
}

KalmanBoxFilter4D::StateMatrix KalmanBoxFilter4D::getScaledQ(float dt) const {
  const TimeStep step(dt);
  const float variances[] = {params.processNoiseVarianceX, params.processNoiseVarianceY, params.processNoiseVarianceW,
                             params.processNoiseVarianceH};
  StateMatrix q;
  for (std::size_t i = 0; i < 4; ++i) {
    const float variance = sizeScalingFactor() * variances[i];
    const std::size_t value = 2 * i;
    const std::size_t velocity = value + 1;
    q(value, value) = variance * (step.dt4 * 0.25F);
    q(value, velocity) = q(velocity, value) = variance * (step.dt3 * 0.5F);
    q(velocity, velocity) = variance * step.dt2;
  }
  return q;
}

KalmanBoxFilter4D::EdgeMatrix KalmanBoxFilter4D::getScaledR() const {
  const std::array<float, 4> variances = scaledEdgeVariances();
  EdgeMatrix r;
  for (std::size_t edge = 0; edge < variances.size(); ++edge) r(edge, edge) = variances[edge];
  return r;
}

KalmanBoxFilter4D::EdgeMatrix KalmanBoxFilter4D::getInnovationCovariance() const {
  const auto [low, between, high] = predictedEdgeCovariance();
  EdgeMatrix s = getScaledR();
  s(kLeft, kLeft) += static_cast<float>(low.horizontal);
  s(kRight, kRight) += static_cast<float>(high.horizontal);
  s(kLeft, kRight) = s(kRight, kLeft) = static_cast<float>(between.horizontal);
  s(kBottom, kBottom) += static_cast<float>(low.vertical);
  s(kTop, kTop) += static_cast<float>(high.vertical);
  s(kBottom, kTop) = s(kTop, kBottom) = static_cast<float>(between.vertical);
  return s;
}

}  // namespace nivra
