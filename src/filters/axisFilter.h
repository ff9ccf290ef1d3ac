#pragma once

#include <array>
#include <cmath>
#include <cstddef>

#include "nivra/kalmanFilter1D.h"
#include "nivra/kalmanParams.h"
#include "nivra/timeStep.h"

#if defined(__FAST_MATH__) || __FINITE_MATH_ONLY__
#error "nivra tells numbers from what is not one, which -ffast-math takes away"
#endif

/// The equations of the constant-velocity filter, for any number of axes side by side. Each is a loop of plain
/// arithmetic over the axes, which compilers turn into vector instructions, provided that nothing that is read may be
/// written in the loop: hence the arguments by value.
namespace nivra::internal {

template <std::size_t Axes>
using AxisValues = typename AxisStates<Axes>::Values;

template <std::size_t Axes>
AxisStates<Axes> startAxes(const std::array<const KalmanParams1d*, Axes>& params, const AxisValues<Axes>& values) {
  AxisStates<Axes> state;
  state.value = values;
  for (std::size_t i = 0; i < Axes; ++i) {
    state.processNoiseVariance[i] = params[i]->processNoiseVariance;
    state.observationNoiseVariance[i] = params[i]->observationNoiseVariance;
    state.variance[i] = params[i]->initialVariance;
    state.velocityVariance[i] = params[i]->initialVelocityVariance;
  }
  return state;
}

template <std::size_t Axes>
void predictAxes(AxisStates<Axes>& state, TimeStep step, AxisValues<Axes> processNoiseScales) {
  for (std::size_t i = 0; i < Axes; ++i) {
    const float q = processNoiseScales[i] * state.processNoiseVariance[i];
    const float velocityVariance = state.velocityVariance[i];
    const float covariance = state.covariance[i];
    state.value[i] += step.dt * state.velocity[i];
    state.variance[i] += step.dt2 * velocityVariance + 2.0F * step.dt * covariance + (step.dt4 * 0.25F) * q;
    state.covariance[i] = (step.dt * velocityVariance + (step.dt3 * 0.5F) * q) + covariance;
    state.velocityVariance[i] = velocityVariance + step.dt2 * q;
  }
}

/// Variances of the measurements expected next.
template <std::size_t Axes>
AxisValues<Axes> innovationCovariances(const AxisStates<Axes>& state) {
  AxisValues<Axes> s;
  for (std::size_t i = 0; i < Axes; ++i) s[i] = state.variance[i] + state.observationNoiseVariance[i];
  return s;
}

template <std::size_t Axes>
void updateAxes(AxisStates<Axes>& state, AxisValues<Axes> measurements) {
  const AxisValues<Axes> s = innovationCovariances(state);
  for (std::size_t i = 0; i < Axes; ++i) {
    const float variance = state.variance[i];
    const float covariance = state.covariance[i];
    const float valueGain = variance / s[i];
    const float velocityGain = covariance / s[i];
    const float residual = measurements[i] - state.value[i];
    state.value[i] += valueGain * residual;
    state.velocity[i] += velocityGain * residual;
    state.velocityVariance[i] -= covariance * velocityGain;
    state.variance[i] = variance - variance * valueGain;
    state.covariance[i] = covariance - covariance * valueGain;
  }
}

/// Squared distances of the measurements from the values, in variances.
template <std::size_t Axes>
AxisValues<Axes> squaredDistances(const AxisStates<Axes>& state, const AxisValues<Axes>& measurements) {
  AxisValues<Axes> distances = innovationCovariances(state);
  for (std::size_t i = 0; i < Axes; ++i) {
    const float residual = state.value[i] - measurements[i];
    distances[i] = residual * residual / distances[i];
  }
  return distances;
}

inline constexpr double kTwoPi = 6.283185307179586;

/// Density of the measurements: the product over the axes.
template <std::size_t Axes>
float axesLikelihood(const AxisStates<Axes>& state, const AxisValues<Axes>& measurements) {
  const AxisValues<Axes> s = innovationCovariances(state);
  AxisValues<Axes> scales;
  AxisValues<Axes> exponents;
  for (std::size_t i = 0; i < Axes; ++i) {
    const float residual = measurements[i] - state.value[i];
    scales[i] = 1.0F / static_cast<float>(std::sqrt(static_cast<double>(s[i]) * kTwoPi));
    exponents[i] = -(residual * residual) / (2.0F * s[i]);
  }
  float likelihood = scales[0] * std::exp(exponents[0]);
  for (std::size_t i = 1; i < Axes; ++i) likelihood *= scales[i] * std::exp(exponents[i]);
  return likelihood;
}

/// Natural logarithm of that density; finite where the density underflows.
template <std::size_t Axes>
float axesLogLikelihood(const AxisStates<Axes>& state, const AxisValues<Axes>& measurements) {
  const AxisValues<Axes> s = innovationCovariances(state);
  AxisValues<Axes> logs;
  for (std::size_t i = 0; i < Axes; ++i) {
    const float residual = measurements[i] - state.value[i];
    const auto logNormalizer = static_cast<float>(std::log(static_cast<double>(s[i]) * kTwoPi));
    logs[i] = -(residual * residual) / (2.0F * s[i]) - 0.5F * logNormalizer;
  }
  float sum = logs[0];
  for (std::size_t i = 1; i < Axes; ++i) sum += logs[i];
  return sum;
}

}  // namespace nivra::internal
