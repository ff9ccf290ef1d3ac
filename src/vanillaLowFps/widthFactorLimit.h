#pragma once

#include <string>

#include "core/labels.h"
#include "nivra/trackerParams.h"

namespace nivra::vanillaLowFps {

/// Limit on the horizontal offset of a detection, in smaller widths: people may lie farther to the side.
inline float widthFactorLimit(const vanilla::TrackerParams& params, const std::string& detectionLabel) {
  constexpr float kPersonLimit = 1.7F;
  return detectionLabel == kPersonLabel ? kPersonLimit : params.widthFactorGating;
}

}  // namespace nivra::vanillaLowFps
