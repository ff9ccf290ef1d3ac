#pragma once

#include <cstddef>
#include <vector>

namespace nivra::reid {

/// Dot products of one vector with several rows, all of the same length, in single precision.
///
/// Number i of a row goes to lane i modulo 16; each lane sums its products in ascending order; then lanes 8 apart are
/// added, 4 apart, 2 apart, and the last two. Every implementation does exactly this, so all give the same bits.
/// @param rows First number of the first row.
/// @param stride From the start of one row to that of the next.
/// @param length Of the vector and of the rows.
/// @param products One for every row.
using DotProducts = void (*)(const float* rows, std::size_t rowCount, std::size_t stride, const float* vector,
                             std::size_t length, float* products);

struct DotProductsVariant {
  const char* instructionSet;
  DotProducts compute;
};

/// The implementations that this processor can run, the fastest first.
std::vector<DotProductsVariant> availableDotProducts();

/// The fastest of them.
DotProducts fastestDotProducts();

}  // namespace nivra::reid
