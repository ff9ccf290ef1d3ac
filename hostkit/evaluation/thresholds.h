#pragma once

#include <array>
#include <cstddef>
#include <limits>

namespace nivra::hostkit {

/// What published evaluators take off thresholds, so that an overlap which is one but for rounding passes.
constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

/// The intersection over union from which on a box counts as found where there is one threshold.
constexpr double kMatchingIou = 0.5;

constexpr std::size_t kHotaThresholds = 19;

/// 0.05, 0.1, ... 0.95.
inline std::array<double, kHotaThresholds> hotaThresholds() {
  std::array<double, kHotaThresholds> thresholds{};
  constexpr double kStart = 0.05;
  constexpr double kStep = 0.05;
  // To the bit as numpy.arange has them, since overlaps such as 3/4 lie right on a threshold.
  for (std::size_t i = 0; i < kHotaThresholds; ++i) thresholds[i] = kStart + static_cast<double>(i) * kStep;
  return thresholds;
}

}  // namespace nivra::hostkit
