#pragma once

#include "nivra/parameterTables.h"

/// What can be meant: beyond it a value has no meaning, or makes the equations degenerate.
namespace nivra {

inline constexpr ParameterRange kFractions = {0.0, 1.0};
inline constexpr ParameterRange kCosines = {-1.0, 1.0};
inline constexpr ParameterRange kCosineDistances = {0.0, 2.0};
inline constexpr ParameterRange kPercent = {-100.0, 100.0};
inline constexpr ParameterRange kFactors = {0.0, 1e6};
inline constexpr ParameterRange kNoiseFactors = {1e-6, 1e6};
inline constexpr ParameterRange kVariances = {0.0, 1e6};
inline constexpr ParameterRange kNoiseVariances = {1e-12, 1e6};
inline constexpr ParameterRange kWidths = {1e-6, 1e6};
inline constexpr ParameterRange kLogLikelihoods = {-1e6, 1e6};
inline constexpr ParameterRange kTimes = {0.0, 1e18};
inline constexpr ParameterRange kCounts = {0.0, 1e9};
inline constexpr ParameterRange kNoNumbers = {0.0, 0.0};

inline constexpr ParameterScale kLinear = ParameterScale::linear;
inline constexpr ParameterScale kLogarithmic = ParameterScale::logarithmic;

}  // namespace nivra
