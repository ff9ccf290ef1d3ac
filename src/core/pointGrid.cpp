#include "core/pointGrid.h"

#include <algorithm>
#include <cmath>
#include <utility>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace nivra {

namespace {

constexpr float kPictureBorder = 1.0F;  // the picture spans from minus this to this
constexpr std::uint32_t kAtOnce = 4;    // points compared together
constexpr std::uint32_t kFew = 32;      // points that are looked at faster than they are sorted: they share one cell

/// Which of four points lie in the window, as one bit each. The comparisons cost little; what costs are branches on
/// results without a pattern, so there is one for four points.
unsigned bitsOfInside(const float* x, const float* y, const Window& window) {
#ifdef __SSE2__
  const __m128 magnitude = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
  const auto isNear = [magnitude](const float* coordinates, float center, float reach) {
    const __m128 offset = _mm_sub_ps(_mm_loadu_ps(coordinates), _mm_set1_ps(center));
    return _mm_cmple_ps(_mm_and_ps(offset, magnitude), _mm_set1_ps(reach));
  };
  const __m128 isInside =
      _mm_and_ps(isNear(x, window.center.x, window.halfWidth), isNear(y, window.center.y, window.halfHeight));
  return static_cast<unsigned>(_mm_movemask_ps(isInside));
#else
  unsigned bits = 0;
  for (unsigned i = 0; i < kAtOnce; ++i) {
    const bool isInside = (std::abs(x[i] - window.center.x) <= window.halfWidth) &
                          (std::abs(y[i] - window.center.y) <= window.halfHeight);
    bits |= static_cast<unsigned>(isInside) << i;
  }
  return bits;
#endif
}

}  // namespace

void PointGrid::Points::resize(std::size_t size) {
  x.resize(size);
  y.resize(size);
  index.resize(size);
}

PointGrid::Axis::Axis(const std::vector<float>& coordinates, std::uint32_t cellCount) : cells(cellCount) {
  float low = kPictureBorder;
  float high = -kPictureBorder;
  for (const float coordinate : coordinates) {
    low = std::min(low, coordinate);
    high = std::max(high, coordinate);
  }
  low = std::max(low, -kPictureBorder);
  high = std::min(high, kPictureBorder);
  origin = low;
  if (low < high) scale = static_cast<float>(cells) / (high - low);
}

void PointGrid::clear() { added.resize(0); }

void PointGrid::add(std::uint32_t index, float x, float y) {
  if (std::isnan(x) || std::isnan(y)) return;
  added.x.push_back(x);
  added.y.push_back(y);
  added.index.push_back(index);
}

void PointGrid::build() {
  const auto count = static_cast<std::uint32_t>(added.index.size());
  found.resize(count);
  if (count <= kFew) {
    std::swap(sorted, added);
    sorted.resize(count + kAtOnce);
    columns = rows = Axis();
    firstOfCell.assign({0, count});
    return;
  }

  const auto side = static_cast<std::uint32_t>(std::sqrt(static_cast<float>(count)));
  columns = Axis(added.x, side);
  rows = Axis(added.y, side);

  // Counting sort: how many there are in each cell, where each cell then ends, and from there backwards.
  cellOfAdded.resize(count);
  firstOfCell.assign(std::size_t{side} * side + 1, 0);
  for (std::uint32_t i = 0; i < count; ++i) {
    cellOfAdded[i] = rows.cellOf(added.y[i]) * side + columns.cellOf(added.x[i]);
    ++firstOfCell[cellOfAdded[i]];
  }
  std::uint32_t end = 0;
  for (std::uint32_t& cell : firstOfCell) cell = end += cell;
  sorted.resize(count + kAtOnce);
  for (std::uint32_t i = count; i-- > 0;) {
    const std::uint32_t place = --firstOfCell[cellOfAdded[i]];
    sorted.x[place] = added.x[i];
    sorted.y[place] = added.y[i];
    sorted.index[place] = added.index[i];
  }
}

PointGrid::Found PointGrid::find(const Window& window) {
  const auto [x, y] = window.center;
  const std::uint32_t firstColumn = columns.cellOf(x - window.halfWidth);
  const std::uint32_t lastColumn = columns.cellOf(x + window.halfWidth);
  const std::uint32_t lastRow = rows.cellOf(y + window.halfHeight);
  std::uint32_t* place = found.data();
  for (std::uint32_t row = rows.cellOf(y - window.halfHeight); row <= lastRow; ++row) {
    const std::uint32_t end = firstOfCell[row * columns.cells + lastColumn + 1];
    for (std::uint32_t i = firstOfCell[row * columns.cells + firstColumn]; i < end; i += kAtOnce) {
      unsigned bits = bitsOfInside(&sorted.x[i], &sorted.y[i], window);
      bits &= (1U << std::min(end - i, kAtOnce)) - 1U;
      for (; bits != 0; bits &= bits - 1) *place++ = sorted.index[i + static_cast<unsigned>(__builtin_ctz(bits))];
    }
  }
  return {found.data(), place};
}

}  // namespace nivra
