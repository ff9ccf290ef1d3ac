#pragma once

#include <string>

#include "hostkit/tuning/tuning.h"

namespace nivra::hostkit {

/// The parameters that were found, for --params, with what there is to know about them as comments.
std::string parametersAsText(const TuningOptions& options, const Tuning& tuning);

/// What came of it, in a line.
std::string summaryOf(const TuningOptions& options, const Tuning& tuning);

}  // namespace nivra::hostkit
