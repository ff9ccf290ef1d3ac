#include "matching/pointGrid.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace nivra {

namespace {

constexpr float kPictureBorder = 1.0F;  // the picture spans from minus this to this
constexpr std::uint32_t kFew = 32;      // points that are looked at faster than they are sorted: they share one cell

}  // namespace

void PointGrid::Points::makeRoom(std::size_t size) {
  if (index.size() >= size) return;  // the last to grow, should memory run out between
  x.resize(size);
  y.resize(size);
  index.resize(size);
}

PointGrid::Axis::Axis(const float* coordinates, std::uint32_t pointCount, std::uint32_t cellCount) : cells(cellCount) {
  float low = kPictureBorder;
  float high = -kPictureBorder;
  for (std::uint32_t i = 0; i < pointCount; ++i) {
    low = std::min(low, coordinates[i]);
    high = std::max(high, coordinates[i]);
  }
  low = std::max(low, -kPictureBorder);
  high = std::min(high, kPictureBorder);
  origin = low;
  if (low < high) scale = static_cast<float>(cells) / (high - low);
}

void PointGrid::begin(std::size_t most) {
  added.makeRoom(most + kPointsAtOnce);
  count = 0;
}

void PointGrid::build() {
  if (found.size() < count) found.resize(count);
  if (count <= kFew) {
    std::swap(sorted, added);
    return;
  }

  const auto side = static_cast<std::uint32_t>(std::sqrt(static_cast<float>(count)));
  columns = Axis(added.x.data(), count, side);
  rows = Axis(added.y.data(), count, side);

  // Counting sort: how many there are in each cell, where each cell then ends, and from there backwards.
  cellOfAdded.resize(count);
  firstOfCell.assign(std::size_t{side} * side + 1, 0);
  for (std::uint32_t i = 0; i < count; ++i) {
    cellOfAdded[i] = rows.cellOf(added.y[i]) * side + columns.cellOf(added.x[i]);
    ++firstOfCell[cellOfAdded[i]];
  }
  std::uint32_t end = 0;
  for (std::uint32_t& cell : firstOfCell) cell = end += cell;
  sorted.makeRoom(count + kPointsAtOnce);
  for (std::uint32_t i = count; i-- > 0;) {
    const std::uint32_t place = --firstOfCell[cellOfAdded[i]];
    sorted.x[place] = added.x[i];
    sorted.y[place] = added.y[i];
    sorted.index[place] = added.index[i];
  }
}

std::uint32_t* PointGrid::listInside(std::uint32_t first, std::uint32_t end, const Window& window,
                                     std::uint32_t* place) const {
  for (std::uint32_t i = first; i < end; i += kPointsAtOnce) {
    unsigned bits = bitsOfInside(&sorted.x[i], &sorted.y[i], window);
    bits &= (1U << std::min(end - i, kPointsAtOnce)) - 1U;
    for (; bits != 0; bits &= bits - 1) *place++ = sorted.index[i + static_cast<unsigned>(__builtin_ctz(bits))];
  }
  return place;
}

PointGrid::Found PointGrid::find(const Window& window) {
  std::uint32_t* place = found.data();
  if (count <= kFew) return {found.data(), listInside(0, count, window, place)};
  const auto [x, y] = window.center;
  const std::uint32_t firstColumn = columns.cellOf(x - window.halfWidth);
  const std::uint32_t lastColumn = columns.cellOf(x + window.halfWidth);
  const std::uint32_t lastRow = rows.cellOf(y + window.halfHeight);
  for (std::uint32_t row = rows.cellOf(y - window.halfHeight); row <= lastRow; ++row) {
    const std::uint32_t* const cells = &firstOfCell[row * columns.cells];
    place = listInside(cells[firstColumn], cells[lastColumn + 1], window, place);
  }
  return {found.data(), place};
}

}  // namespace nivra
