#pragma once

#include <cmath>

namespace nivra {

/// Orders floats ascending, with everything that is not a number at the end and equal to its like. The plain
/// comparison is no strict weak ordering once a NaN is among the values, and sorting by it is undefined.
inline bool ascending(float a, float b) {
  if (std::isnan(a)) return false;
  return std::isnan(b) || a < b;
}

/// The same, descending; not a number is again last.
inline bool descending(float a, float b) {
  if (std::isnan(a)) return false;
  return std::isnan(b) || a > b;
}

}  // namespace nivra
