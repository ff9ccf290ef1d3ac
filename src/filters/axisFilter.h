#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

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

/// What the density of measurements is made of: exp(exponent) / sqrt(square). In double precision neither the product
/// of four variances nor their sum of distances leaves the range, so one root, exponential or logarithm serves all
/// axes. The square is not a number where a variance is negative.
struct DensityParts {
  double square = 1.0;
  double exponent = 0.0;
};

template <std::size_t Axes>
DensityParts densityParts(const AxisStates<Axes>& state, const AxisValues<Axes>& measurements) {
  const AxisValues<Axes> s = innovationCovariances(state);
  AxisValues<Axes> exponents;
  for (std::size_t i = 0; i < Axes; ++i) {
    const float residual = measurements[i] - state.value[i];
    exponents[i] = residual * residual / (2.0F * s[i]);
  }
  DensityParts parts;
  bool isNegative = false;
  for (std::size_t i = 0; i < Axes; ++i) {
    parts.exponent -= static_cast<double>(exponents[i]);
    parts.square *= static_cast<double>(s[i]) * kTwoPi;
    isNegative |= s[i] < 0.0F;
  }
  // Two negative variances are no positive one.
  if (isNegative) parts.square = std::numeric_limits<double>::quiet_NaN();
  return parts;
}

/// Density of the measurements: the product over the axes.
template <std::size_t Axes>
float axesLikelihood(const AxisStates<Axes>& state, const AxisValues<Axes>& measurements) {
  const DensityParts parts = densityParts(state, measurements);
  return static_cast<float>(std::exp(parts.exponent) / std::sqrt(parts.square));
}

/// Natural logarithm of that density; finite where the density underflows.
template <std::size_t Axes>
float axesLogLikelihood(const AxisStates<Axes>& state, const AxisValues<Axes>& measurements) {
  const DensityParts parts = densityParts(state, measurements);
  return static_cast<float>(parts.exponent - 0.5 * std::log(parts.square));
}

}  // namespace nivra::internal
