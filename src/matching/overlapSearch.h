#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "core/boxGeometry.h"
#include "matching/pointGrid.h"
#include "nivra/geometry.h"

namespace nivra {

/// Finds the pairs of boxes that overlap by more than a threshold. Keeps its memory from frame to frame.
///
/// A box looks only for those that are no larger than itself: their lower left corners can't lie farther from its own
/// box than its own size, so one large box among many small ones widens nobody's search but its own.
class OverlapSearch {
 public:
  void clear() { boxes.clear(); }

  /// Adds a box, which `visitOverlapping` names by its position in the order of adding.
  void add(const Box& box) { boxes.push_back(box); }

  /// Calls visit(a, b), with a < b, for every pair whose intersection over union exceeds `threshold`, in no particular
  /// order of the pairs. A visit that returns something ends the search by false.
  template <class Visit>
  void visitOverlapping(float threshold, Visit visit) {
    const auto count = static_cast<std::uint32_t>(boxes.size());
    if (threshold < 0.0F || count <= kFew) {
      for (std::uint32_t a = 0; a < count; ++a) {
        for (std::uint32_t b = a + 1; b < count; ++b) {
          if (overlap(a, b, threshold) && !goesOn(visit, a, b)) return;
        }
      }
      return;
    }

    Box largest = {};
    grid.begin(count);
    for (std::uint32_t i = 0; i < count; ++i) {
      if (!canOverlap(boxes[i])) continue;
      largest.right = std::max(largest.right, width(boxes[i]));
      largest.top = std::max(largest.top, height(boxes[i]));
      grid.add(i, boxes[i].left, boxes[i].bottom);
    }
    grid.build();
    for (std::uint32_t a = 0; a < count; ++a) {
      if (!canOverlap(boxes[a])) continue;
      const float size = sizeOf(boxes[a]);
      for (const std::uint32_t b : grid.find(cornersOfSmaller(boxes[a], largest, threshold))) {
        const float otherSize = sizeOf(boxes[b]);
        if (!(otherSize < size || (otherSize == size && b > a))) continue;
        if (!(intersectionOverUnion(boxes[a], boxes[b]) > threshold)) continue;
        if (!goesOn(visit, std::min(a, b), std::max(a, b))) return;
      }
    }
  }

  /// Calls visit(b), in ascending order, for every other box with admits(b) whose intersection over union with box `a`
  /// exceeds `threshold`. Looks at all boxes.
  template <class Admits, class Visit>
  void visitOverlapping(std::uint32_t a, float threshold, Admits admits, Visit visit) const {
    for (std::uint32_t b = 0; b < boxes.size(); ++b) {
      if (b != a && admits(b) && overlap(a, b, threshold)) visit(b);
    }
  }

 private:
  static constexpr std::uint32_t kFew = 32;  // so many that comparing all with all takes less than a grid

  template <class Visit>
  static bool goesOn(Visit& visit, std::uint32_t a, std::uint32_t b) {
    if constexpr (std::is_void_v<std::invoke_result_t<Visit&, std::uint32_t, std::uint32_t>>) {
      visit(a, b);
      return true;
    } else {
      return visit(a, b);
    }
  }

  bool overlap(std::uint32_t a, std::uint32_t b, float threshold) const {
    // Below 0, boxes that don't touch overlap enough, too.
    if (!(threshold < 0.0F) && !touch(boxes[a], boxes[b])) return false;
    return intersectionOverUnion(boxes[a], boxes[b]) > threshold;
  }

  static bool touch(const Box& a, const Box& b) {
    return (a.left < b.right) & (b.left < a.right) & (a.bottom < b.top) & (b.bottom < a.top);
  }

  /// False for a box without a width or height, or with a coordinate that is not a number: nothing overlaps it.
  static bool canOverlap(const Box& box) { return box.left < box.right && box.bottom < box.top; }

  static float sizeOf(const Box& box) { return std::max(width(box), height(box)); }

  /// Where the lower left corners lie of boxes that overlap `box` enough and are neither larger than it nor wider or
  /// higher than `largest`.
  static Window cornersOfSmaller(const Box& box, const Box& largest, float threshold) {
    // The intersection over union can't exceed that of the sides, o / (w + v - o) for sides w and v and an overlap o.
    // If this is to exceed t, o must exceed t w and t (w + v) / (1 + t), so the other side begins less than w - t w
    // after this one, and less than (v - t w) / (1 + t) before it.
    // In floats the areas are off by 3 roundings, the joint one, of three areas no larger than itself and two sums, by
    // at most 15, the quotient by 1 more: 19 times 2^-24, or 1.1e-6, far less than 0.9999 leaves. Shared areas of that
    // size keep their digits down to 1e-38, the least normal float, for thresholds from 1e-13 on; below those, t w is
    // less than the rounding of a coordinate.
    constexpr float kLeastArea = 1e-25F;
    const float t = area(box) > kLeastArea ? std::min(threshold, 1.0F) * 0.9999F : 0.0F;
    const float size = sizeOf(box);
    const auto before = [&](float side, float largestSide) {
      return std::max((std::min(size, largestSide) - t * side) / (1.0F + t), 0.0F);
    };
    const Box corners = {box.left - before(width(box), width(largest)), box.top - t * height(box),
                         box.right - t * width(box), box.bottom - before(height(box), height(largest))};
    // On the way from a box to a corner's distance from the window's centre there are 9 roundings, each of at most
    // 2^-24 of the box's side and of the borders: where t is above 0.006, what 0.9999 leaves covers those of the side,
    // and below it the window is as wide as the box. 18 times 2^-24 are 1.1e-6.
    constexpr float kRounding = 2e-6F;
    const auto reach = [](float low, float high, float extent) {
      return extent * 0.5F + kRounding * (std::abs(low) + std::abs(high));
    };
    const Window window = {center(corners), reach(corners.left, corners.right, width(corners)),
                           reach(corners.bottom, corners.top, height(corners))};
    // An overflow leaves no number to compare with.
    return std::isfinite(window.halfWidth + window.halfHeight) ? window : kEverywhere;
  }

  std::vector<Box> boxes;
  PointGrid grid;
};

}  // namespace nivra
