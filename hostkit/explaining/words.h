#pragma once

#include <string>

#include "nivra/explanation.h"

namespace nivra::hostkit {

/// A number as people read it.
std::string shown(double number);

/// A time of nanoseconds as people read it: "0.3 s".
std::string shownTime(double nanoseconds);

/// How far a figure is from its limit, as a share of the larger of the two.
double marginOf(const Verdict& verdict);

/// A value of the verdict's parameter that turns it around, of few digits, as text; empty if there is none.
std::string handyValue(const Verdict& verdict);

}  // namespace nivra::hostkit
