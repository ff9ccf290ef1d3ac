#pragma once

/// @file
/// Parameters that suit cameras of a kind, to begin with in place of the defaults.

#include <string>
#include <vector>

#include "nivra/export.h"
#include "nivra/parameterMap.h"

namespace nivra {

/// The names of all presets: "steady", for cameras that stand and detectors that seldom miss anybody, and "flickering",
/// for detectors that often lose people for some frames, or cameras that move.
NIVRA_EXPORT std::vector<std::string> presetNames();

/// What a preset changes of a tracker's defaults, ready for `makeTracker`.
///
/// @param name One of `presetNames`.
/// @param selector The tracker, as for `makeTracker`; for any other number nothing is changed.
/// @throws std::invalid_argument "There is no preset \"<name>\"" for any other name.
NIVRA_EXPORT ParameterMap presetParameters(const std::string& name, int selector);

}  // namespace nivra
