#pragma once

#include <string>

#include "hostkit/replaying/recording.h"

namespace nivra::hostkit {

/// What a plot shows of a camera.
enum class PlotKind {
  trajectories,  // the ways of all identities through the picture, a picture for each run
  lives,         // when each identity was there
  hota,          // HOTA, and what it is made of, over the thresholds of overlap
};

/// @param option Its name in complaints.
/// @throws UsageError unless the text names one.
PlotKind parsePlotKind(const std::string& option, const std::string& text);

/// An SVG for reports: black on white, with nothing but shapes and text.
/// @throws UsageError for the HOTA of a camera without truth.
std::string plot(const RecordedCamera& camera, PlotKind kind);

}  // namespace nivra::hostkit
