#include "nivra/kalmanBoxFilter4D.h"

#include <Eigen/LU>
#include <array>
#include <cmath>

#include "core/boxGeometry.h"

namespace nivra {

namespace {

// Positions in the state; each is followed by its velocity.
enum State { kX = 0, kY = 2, kW = 4, kH = 6 };
constexpr std::array<int, 4> kCoordinates = {kX, kY, kW, kH};

constexpr float kReferenceWidth = 0.2F;  // the width for which the parameters hold, a tenth of the picture
constexpr float kBorderMargin = 0.04F;   // an edge nearer than this to its side of the picture is at the border

KalmanBoxFilter4D::EdgeVector edgesOf(const Box& box) { return {box.left, box.top, box.right, box.bottom}; }

}  // namespace

KalmanBoxFilter4D::KalmanBoxFilter4D(const Box& box, const KalmanBoxParams4D& filterParams)
    : params(filterParams),
      stateVector(StateVector::Zero()),
      stateCovariance(StateMatrix::Zero()),
      transition(StateMatrix::Identity()),
      kalmanGain(EdgesToState::Zero()),
      observationModel{
          {1, 0, 0, 0, -0.5F, 0, 0, 0},  // left
          {0, 0, 1, 0, 0, 0, 0.5F, 0},   // top
          {1, 0, 0, 0, 0.5F, 0, 0, 0},   // right
          {0, 0, 1, 0, 0, 0, -0.5F, 0},  // bottom
      },
      observationNoise(EdgeMatrix::Zero()),
      innovationCovarianceInverse(EdgeMatrix::Identity()),
      processNoise(params.processNoiseVarianceX, params.processNoiseVarianceY, params.processNoiseVarianceW,
                   params.processNoiseVarianceH) {
  updateNoFilter(box);
  StateVector initialVariances;
  initialVariances << params.initialVarianceX, params.initialVelocityVarianceX, params.initialVarianceY,
      params.initialVelocityVarianceY, params.initialVarianceW, params.initialVelocityVarianceX,
      params.initialVarianceH, params.initialVelocityVarianceY;
  stateCovariance.diagonal() = sizeScalingFactor() * initialVariances;
  for (const int coordinate : kCoordinates) transition(coordinate, coordinate + 1) = 1.0F;

  const float horizontal = params.defaultObservationNoise;
  const float vertical = horizontal * params.aspectRatioSquared;
  observationNoise.diagonal() << horizontal, vertical * params.observationNoiseTopDeviation, horizontal,
      vertical * params.observationNoiseBottomDeviation;
}

void KalmanBoxFilter4D::predict(float dt) {
  for (const int coordinate : kCoordinates) transition(coordinate, coordinate + 1) = dt;
  stateVector = transition * stateVector;
  stateCovariance = transition * stateCovariance * transition.transpose() + getScaledQ(dt);
  innovationCovarianceInverse = getInnovationCovariance().inverse();
}

void KalmanBoxFilter4D::update(const Box& box) {
  const EdgeVector residual = residualOf(box);
  kalmanGain = stateCovariance * observationModel.transpose() * innovationCovarianceInverse;
  stateVector += kalmanGain * residual;
  stateCovariance -= kalmanGain * (observationModel * stateCovariance).eval();
}

void KalmanBoxFilter4D::updateNoFilter(const Box& box) {
  const Point boxCenter = center(box);
  stateVector[kX] = boxCenter.x;
  stateVector[kY] = boxCenter.y;
  stateVector[kW] = width(box);
  stateVector[kH] = height(box);
}

void KalmanBoxFilter4D::emptyUpdate() {
  stateVector[kW + 1] = 0.0F;
  stateVector[kH + 1] = 0.0F;
}

float KalmanBoxFilter4D::mahalanobisDistance(const Box& box) const {
  const EdgeVector residual = residualOf(box);
  return std::sqrt(residual.dot(innovationCovarianceInverse * residual));
}

bool KalmanBoxFilter4D::canAssociate(const Box& box) const {
  return params.mahalanobisLimit >= mahalanobisDistance(box);
}

Box KalmanBoxFilter4D::getBox() const {
  const EdgeVector edges = observationModel * stateVector;
  return {edges[0], edges[1], edges[2], edges[3]};
}

Point KalmanBoxFilter4D::getVelocity() const { return {stateVector[kX + 1], stateVector[kY + 1]}; }

float KalmanBoxFilter4D::sizeScalingFactor() const {
  const float relativeWidth = stateVector[kW] / kReferenceWidth;
  return relativeWidth * relativeWidth;
}

KalmanBoxFilter4D::StateMatrix KalmanBoxFilter4D::getScaledQ(float dt) const {
  const float dt3 = std::pow(dt, 3.0F);
  const float dt4 = std::pow(dt, 4.0F);
  const Eigen::Matrix2f step{{dt4 * 0.25F, dt3 * 0.5F}, {dt3 * 0.5F, dt * dt}};
  StateMatrix q = StateMatrix::Zero();
  for (Eigen::Index i = 0; i < 4; ++i) q.block<2, 2>(2 * i, 2 * i) = processNoise[i] * step;
  return sizeScalingFactor() * q;
}

KalmanBoxFilter4D::EdgeMatrix KalmanBoxFilter4D::getScaledR() const {
  const EdgeVector borders = {-1.0F, 1.0F, 1.0F, -1.0F};
  const EdgeVector distances = (observationModel * stateVector - borders).cwiseAbs();
  const auto isAtBorder = [&](int edge) { return distances[edge] < kBorderMargin; };
  if (!(isAtBorder(0) || isAtBorder(1) || isAtBorder(2) || isAtBorder(3))) {
    return sizeScalingFactor() * observationNoise;
  }
  const auto factor = [&](int edge) {
    return isAtBorder(edge) ? params.borderNoiseScaleFactor1 : params.borderNoiseScaleFactor2;
  };
  const float horizontal = params.defaultObservationNoise;
  const float vertical = horizontal * params.aspectRatioSquared;
  EdgeMatrix noise = EdgeMatrix::Zero();
  noise.diagonal() << horizontal * factor(0), vertical * factor(1), horizontal * factor(2), vertical * factor(3);
  return sizeScalingFactor() * noise;
}

KalmanBoxFilter4D::EdgeMatrix KalmanBoxFilter4D::getInnovationCovariance() const {
  return observationModel * stateCovariance * observationModel.transpose() + getScaledR();
}

KalmanBoxFilter4D::EdgeVector KalmanBoxFilter4D::residualOf(const Box& box) const {
  return edgesOf(box) - observationModel * stateVector;
}

}  // namespace nivra
