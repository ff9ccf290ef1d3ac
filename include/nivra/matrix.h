#pragma once

/// @file
/// Small matrices, as the filters show them.

#include <array>
#include <cstddef>

namespace nivra {

/// A matrix of floats, all 0 until they are set.
template <std::size_t Rows, std::size_t Columns>
class Matrix {
 public:
  /// One entry. Rows and columns count from 0; a position outside of the matrix is undefined behaviour.
  float& operator()(std::size_t row, std::size_t column) { return entries[row * Columns + column]; }
  /// Its value.
  float operator()(std::size_t row, std::size_t column) const { return entries[row * Columns + column]; }

  /// All entries, row after row: Rows * Columns floats, for another library to look at.
  const float* data() const { return entries.data(); }

 private:
  std::array<float, Rows * Columns> entries{};
};

}  // namespace nivra
