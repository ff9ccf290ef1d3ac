#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "matching/pointsInWindow.h"
#include "nivra/geometry.h"

namespace nivra {

/// The window that holds every position that is a number.
inline constexpr Window kEverywhere = {
    {0.0F, 0.0F}, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity()};

/// Finds the points of a frame that lie in a window without looking at all of them. Keeps its memory from frame to
/// frame.
///
/// Points are sorted into the cells of a square grid over that part of the picture where there are any, about one to a
/// cell. A coordinate's row or column never decreases when the coordinate grows, rounding included, so the cells
/// between those of a window's borders hold every point of the window, wherever it lies; points beyond the picture
/// belong to the cells at its border.
class PointGrid {
 public:
  /// Forgets all points.
  /// @param most As many as may be added now.
  void begin(std::size_t most);

  /// Adds a point, which `find` names by `index`. Points with a coordinate that is not a number lie in no window.
  void add(std::uint32_t index, float x, float y) {
    if (std::isnan(x) || std::isnan(y)) return;
    added.x[count] = x;
    added.y[count] = y;
    added.index[count] = index;
    ++count;
  }

  /// Sorts the points into cells; comes after the last `add` and before the first `find`.
  void build();

  /// The indices that a search found.
  struct Found {
    const std::uint32_t* first;
    const std::uint32_t* last;

    const std::uint32_t* begin() const { return first; }
    const std::uint32_t* end() const { return last; }
  };

  /// Lists the points in the window, in no particular order. The list stays until the next call.
  Found find(const Window& window);

 private:
  /// Points by coordinate, so that one instruction can compare several.
  struct Points {
    std::vector<float> x;
    std::vector<float> y;
    std::vector<std::uint32_t> index;

    void makeRoom(std::size_t size);
  };

  /// One axis of the grid: a coordinate's distance from `origin` times `scale` is its row or column.
  struct Axis {
    Axis() = default;
    Axis(const float* coordinates, std::uint32_t pointCount, std::uint32_t cellCount);

    std::uint32_t cellOf(float coordinate) const {
      const float position = (coordinate - origin) * scale;
      if (!(position > 0.0F)) return 0;
      return position < static_cast<float>(cells) ? static_cast<std::uint32_t>(position) : cells - 1;
    }

    float origin = 0.0F;
    float scale = 0.0F;
    std::uint32_t cells = 1;
  };

  std::uint32_t* listInside(std::uint32_t first, std::uint32_t end, const Window& window, std::uint32_t* place) const;

  Points added;
  Points sorted;  // row by row, within each cell by cell; a few more follow the last
  std::uint32_t count = 0;
  std::vector<std::uint32_t> cellOfAdded;  // by point
  std::vector<std::uint32_t> firstOfCell;  // position in `sorted`; one more entry than cells
  Axis columns;
  Axis rows;
  std::vector<std::uint32_t> found;
};

}  // namespace nivra
