#pragma once

#include <string>

#include "core/labels.h"
#include "nivra/trackerParams.h"
#include "vanilla/boxGate.h"

namespace nivra::vanillaLowFps {

/// Limit on the horizontal offset of a detection, in smaller widths: people may lie farther to the side.
inline vanilla::OffsetLimit widthFactorLimit(const vanilla::TrackerParams& params, const std::string& detectionLabel) {
  constexpr float kPersonLimit = 1.7F;
  if (detectionLabel == kPersonLabel) return {kPersonLimit, Rule::personOffset};
  return {params.widthFactorGating};
}

}  // namespace nivra::vanillaLowFps
