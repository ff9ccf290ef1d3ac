#include "nivra/kalmanFilter1D.h"

#include <cmath>

namespace nivra {

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr float kTwoLn19 = 5.888878F;

}  // namespace

KalmanFilter1D::KalmanFilter1D(float initialValue, const KalmanParams1d& params)
    : value(initialValue),
      processNoiseVariance(params.processNoiseVariance),
      observationNoiseVariance(params.observationNoiseVariance),
      variance(params.initialVariance),
      velocityVariance(params.initialVelocityVariance),
      objectnessParams(params.objectnessParams) {}

void KalmanFilter1D::predict(float dt, float processNoiseScale) {
  value += dt * velocity;

  const float q = processNoiseScale * processNoiseVariance;
  const float dt2 = dt * dt;
  const float dt3 = std::pow(dt, 3.0F);
  const float dt4 = std::pow(dt, 4.0F);
  variance += dt2 * velocityVariance + 2.0F * dt * covariance + (dt4 * 0.25F) * q;
  covariance = (dt * velocityVariance + (dt3 * 0.5F) * q) + covariance;
  velocityVariance += dt2 * q;
}

void KalmanFilter1D::update(float measurement) {
  const float innovationCovariance = getInnovationCovariance();
  const float valueGain = variance / innovationCovariance;
  const float velocityGain = covariance / innovationCovariance;
  const float residual = measurement - value;

  value += valueGain * residual;
  velocity += velocityGain * residual;
  velocityVariance -= covariance * velocityGain;
  variance -= variance * valueGain;
  covariance -= covariance * valueGain;
}

void KalmanFilter1D::updateNoFilter(float measurement) { value = measurement; }

float KalmanFilter1D::observationLikelihood(float measurement) const {
  const float residual = measurement - value;
  const float s = getInnovationCovariance();
  const auto normalizer = static_cast<float>(std::sqrt(static_cast<double>(s) * kTwoPi));
  return (1.0F / normalizer) * std::exp(-(residual * residual) / (2.0F * s));
}

float KalmanFilter1D::observationLogLikelihood(float measurement) const {
  const float residual = measurement - value;
  const float s = getInnovationCovariance();
  const auto logNormalizer = static_cast<float>(std::log(static_cast<double>(s) * kTwoPi));
  return -(residual * residual) / (2.0F * s) - 0.5F * logNormalizer;
}

void KalmanFilter1D::setObservationNoiseVariance(float iou, float classScore, const std::string& label) {
  observationNoiseVariance = calculateObservationNoise(iou, classScore, objectnessParams, label);
}

float calculateSigmoid(float x, const SigmoidParams& params) {
  return 1.0F / (std::exp((kTwoLn19 / params.width) * (params.center - x)) + 1.0F);
}

float calculateObservationNoise(float iou, float classScore, const ObjectnessParams& params, const std::string& label) {
  const float iouTrust = calculateSigmoid(iou, params.iouSigmoid);
  const float classTrust = calculateSigmoid(classScore, params.classSigmoids.at(label));
  const float trust = std::sqrt(iouTrust * classTrust);
  const float min = params.observationNoiseVarianceMin;
  const float max = params.observationNoiseVarianceMax;
  return max - (max - min) * trust;
}

}  // namespace nivra
