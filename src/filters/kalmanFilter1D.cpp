#include "nivra/kalmanFilter1D.h"

#include <cmath>

#include "filters/axisFilter.h"

namespace nivra {

namespace {

constexpr float kTwoLn19 = 5.888878F;

}  // namespace

KalmanFilter1D::KalmanFilter1D(float initialValue, const KalmanParams1d& params)
    : state(internal::startAxes<1>({&params}, {initialValue})), objectnessParams(params.objectnessParams) {}

void KalmanFilter1D::predict(float dt, float processNoiseScale) {
  internal::predictAxes(state, TimeStep(dt), {processNoiseScale});
}

void KalmanFilter1D::update(float measurement) { internal::updateAxes(state, {measurement}); }

void KalmanFilter1D::updateNoFilter(float measurement) { state.value[0] = measurement; }

float KalmanFilter1D::observationLikelihood(float measurement) const {
  return internal::axesLikelihood(state, {measurement});
}

float KalmanFilter1D::observationLogLikelihood(float measurement) const {
  return internal::axesLogLikelihood(state, {measurement});
}

void KalmanFilter1D::setObservationNoiseVariance(float iou, float classScore, const std::string& label) {
  state.observationNoiseVariance[0] = calculateObservationNoise(iou, classScore, objectnessParams, label);
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
