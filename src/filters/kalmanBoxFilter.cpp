#include "nivra/kalmanBoxFilter.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "core/boxGeometry.h"
#include "filters/axisFilter.h"
#include "filters/filterGates.h"

namespace nivra {

namespace {

constexpr float kChiSquareQuantile1Axis = 12.115665F;  // 0.9995

// The axes in their order.
enum Axis : std::size_t { kX, kY, kWidth, kHeight, kAxes };

float squared(float x) { return x * x; }

std::array<const KalmanParams1d*, kAxes> axesOf(const KalmanBoxParams& boxParams) {
  return {&boxParams.xParams, &boxParams.yParams, &boxParams.wParams, &boxParams.hParams};
}

}  // namespace

KalmanBoxFilter::KalmanBoxFilter(const Box& box, const KalmanBoxParams& ownParams)
    : KalmanBoxFilter(box, std::make_shared<const KalmanBoxParams>(ownParams)) {}

KalmanBoxFilter::KalmanBoxFilter(const Box& box, std::shared_ptr<const KalmanBoxParams> sharedParams)
    : state(internal::startAxes(axesOf(*sharedParams), measure(box))), params(std::move(sharedParams)) {}

void KalmanBoxFilter::predict(float dt) { predict(TimeStep(dt)); }

void KalmanBoxFilter::predict(float dt, const std::vector<float>& processNoiseScales) {
  if (processNoiseScales.size() < kAxes) {
    throw std::invalid_argument("KalmanBoxFilter::predict needs 4 process noise scales, got " +
                                std::to_string(processNoiseScales.size()));
  }
  std::array<float, kAxes> scales;
  std::copy_n(processNoiseScales.begin(), kAxes, scales.begin());
  predict(TimeStep(dt), scales);
}

void KalmanBoxFilter::predict(const TimeStep& step, const std::array<float, 4>& processNoiseScales) {
  internal::predictAxes(state, step, processNoiseScales);
}

float KalmanBoxFilter::squaredDistance(const Measurement& measurement) const {
  const auto distances = internal::squaredDistances(state, measurement);
  return distances[kX] + distances[kY] + distances[kWidth] + distances[kHeight];
}

bool KalmanBoxFilter::canAssociate(const Box& box) const { return isNearPrediction(*this, measure(box), Unheard()); }

bool KalmanBoxFilter::canAssociateScaledDistance(const Box& box, float scale) const {
  const Measurement measurement = measure(box);
  const Measurement s = internal::innovationCovariances(state);
  const float unit = scale * state.value[kWidth];
  const auto accepts = [&](Axis axis) {
    return squared((state.value[axis] - measurement[axis]) / unit) / s[axis] <= kChiSquareQuantile1Axis;
  };
  return accepts(kX) && accepts(kY);
}

float KalmanBoxFilter::observationLikelihood(const Box& box) const { return likelihoodOf(measure(box)); }

float KalmanBoxFilter::likelihoodOf(const Measurement& measurement) const {
  return internal::axesLikelihood(state, measurement);
}

float KalmanBoxFilter::observationLogLikelihood(const Box& box) const {
  return internal::axesLogLikelihood(state, measure(box));
}

void KalmanBoxFilter::setObservationNoise(float iou, float classScore, const std::string& label) {
  const auto axes = axesOf(*params);
  for (std::size_t i = 0; i < kAxes; ++i) {
    state.observationNoiseVariance[i] = calculateObservationNoise(iou, classScore, axes[i]->objectnessParams, label);
  }
}

bool KalmanBoxFilter::hasObjectnessSettings(const std::string& label) const {
  const auto axes = axesOf(*params);
  return std::all_of(axes.begin(), axes.end(),
                     [&](const auto* axis) { return axis->objectnessParams.classSigmoids.count(label) != 0; });
}

void KalmanBoxFilter::update(const Box& box) { internal::updateAxes(state, measure(box)); }

void KalmanBoxFilter::updateNoFilter(const Box& box) { state.value = measure(box); }

void KalmanBoxFilter::emptyUpdate() { state.velocity[kWidth] = state.velocity[kHeight] = 0.0F; }

Point KalmanBoxFilter::getVelocity() const { return {state.velocity[kX], state.velocity[kY]}; }

Point KalmanBoxFilter::getMaxPositionDifference() const {
  const Measurement s = internal::innovationCovariances(state);
  return {std::sqrt(s[kX] * kChiSquareQuantile1Axis), std::sqrt(s[kY] * kChiSquareQuantile1Axis)};
}

Point KalmanBoxFilter::getMaxPositionDifferenceScaled(float scale) const {
  const Point difference = getMaxPositionDifference();
  const float unit = scale * state.value[kWidth];
  return {difference.x * unit, difference.y * unit};
}

}  // namespace nivra
