#pragma once

#include <algorithm>
#include <string>

#include "nivra/geometry.h"

namespace nivra {

inline float area(const Box& box) { return width(box) * height(box); }

inline Box shifted(const Box& box, float dx, float dy) {
  return {box.left + dx, box.top + dy, box.right + dx, box.bottom + dy};
}

/// The box with each coordinate clamped to the picture; coordinates that are not a number stay as they are.
inline Box clampedToPicture(const Box& box) {
  const auto clamped = [](float coordinate) { return std::clamp(coordinate, -1.0F, 1.0F); };
  return {clamped(box.left), clamped(box.top), clamped(box.right), clamped(box.bottom)};
}

inline float sharedArea(const Box& a, const Box& b) {
  const Box overlap = {std::max(a.left, b.left), std::min(a.top, b.top), std::min(a.right, b.right),
                       std::max(a.bottom, b.bottom)};
  const bool overlaps = overlap.left < overlap.right && overlap.top > overlap.bottom;
  return overlaps ? area(overlap) : 0.0F;
}

inline float jointArea(const Box& a, const Box& b) { return area(a) + area(b) - sharedArea(a, b); }

/// Shared area over joint area, 0 to 1; 0 for boxes that only touch, or whose joint area is not positive.
inline float intersectionOverUnion(const Box& a, const Box& b) {
  const float joint = jointArea(a, b);
  return joint > 0.0F ? sharedArea(a, b) / joint : 0.0F;
}

/// The box as the tracks' state strings show it.
inline std::string stateString(const Box& box) {
  return "{bottom=" + std::to_string(box.bottom) + ", left=" + std::to_string(box.left) +
         ", top=" + std::to_string(box.top) + ", right=" + std::to_string(box.right) + "}";
}

}  // namespace nivra
