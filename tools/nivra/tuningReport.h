#pragma once

#include <string>

#include "hostkit/tuning/tuning.h"

namespace nivra::tool {

/// The parameters that were found, for --params, with what there is to know about them as comments.
std::string parametersAsText(const hostkit::TuningOptions& options, const hostkit::Tuning& tuning);

/// What came of it, in a line.
std::string summaryOf(const hostkit::TuningOptions& options, const hostkit::Tuning& tuning);

}  // namespace nivra::tool
