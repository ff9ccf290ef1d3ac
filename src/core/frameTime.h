#pragma once

#include <cstdint>

#include "core/faultReport.h"
#include "nivra/timeStep.h"

/// How tracks keep to the order of frames.
namespace nivra {

/// Whether a frame is newer than a track's latest prediction; reports a fault if it is not.
inline bool isNewer(std::uint64_t timestamp, std::uint64_t predictionTimestamp) {
  if (timestamp > predictionTimestamp) return true;
  reportFault("The prediction timestamp should be newer than the last prediction");
  return false;
}

/// Whether a detection is of the frame that a track was predicted to; reports a fault if it is not.
inline bool isOfLatestPrediction(std::uint64_t timestamp, std::uint64_t predictionTimestamp) {
  if (timestamp == predictionTimestamp) return true;
  reportFault("The detection does not have the same timestamp as the latest prediction");
  return false;
}

inline float secondsBetween(std::uint64_t earlier, std::uint64_t later) {
  constexpr double kNanosecondsPerSecond = 1e9;
  return static_cast<float>(static_cast<double>(later - earlier) / kNanosecondsPerSecond);
}

/// The step of `dt` seconds, made anew only if `step` is another one: most tracks of a frame take the same.
inline const TimeStep& stepOf(float dt, TimeStep& step) {
  if (step.dt != dt) step = TimeStep(dt);
  return step;
}

}  // namespace nivra
