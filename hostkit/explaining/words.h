#pragma once

#include <string>
#include <vector>

#include "nivra/explanation.h"

namespace nivra::hostkit {

/// A number as people read it.
std::string shown(double number);

/// A time of nanoseconds as people read it: "0.3 s".
std::string shownTime(double nanoseconds);

/// What a rule found, with figure, limit and parameter, such as "centre 1.42 widths to the side, at most 1
/// (vanilla.widthFactorGating)".
std::string inWords(const Verdict& verdict);

/// Those that don't hold, with commas between.
std::string refusalsInWords(const std::vector<Verdict>& verdicts);

/// How far a figure is from its limit, as a share of the larger of the two.
double marginOf(const Verdict& verdict);

/// A value of the verdict's parameter that turns it around, of few digits, as text; empty if there is none.
std::string handyValue(const Verdict& verdict);

}  // namespace nivra::hostkit
