#pragma once

#include <cstddef>

namespace nivra {

/// How many pairs may be listed per element. Usual crowds have one or two, and listing them is the fastest way; boxes
/// that all lie in one place have as many as there are boxes, and a list of all pairs would exhaust memory. Tests lower
/// it, to have every frame take the way without a list.
inline std::size_t listedPairsPerElement = 16;

inline std::size_t mostListedPairs(std::size_t elements) { return listedPairsPerElement * elements; }

}  // namespace nivra
