#pragma once

#include <string>

#include "hostkit/evaluation/evaluation.h"

namespace nivra::tool {

/// A table for each group of figures, fractions in percent; differences to the first tracker stand below a row.
std::string reportAsText(const hostkit::Evaluation& evaluation);

/// An object with everything, to the last digit.
std::string reportAsJson(const hostkit::Evaluation& evaluation);

/// A line for each row, with every figure that is a single number, to the last digit.
std::string reportAsCsv(const hostkit::Evaluation& evaluation);

}  // namespace nivra::tool
