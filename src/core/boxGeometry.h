#pragma once

#include <algorithm>

#include "nivra/geometry.h"

namespace nivra {

inline float width(const Box& box) { return box.right - box.left; }
inline float height(const Box& box) { return box.top - box.bottom; }

inline Point center(const Box& box) { return {box.left + width(box) * 0.5F, box.bottom + height(box) * 0.5F}; }

inline Box shifted(const Box& box, float dx, float dy) {
  return {box.left + dx, box.top + dy, box.right + dx, box.bottom + dy};
}

/// The box with each coordinate clamped to the picture; coordinates that are not a number stay as they are.
inline Box clampedToPicture(const Box& box) {
  const auto clamped = [](float coordinate) { return std::clamp(coordinate, -1.0F, 1.0F); };
  return {clamped(box.left), clamped(box.top), clamped(box.right), clamped(box.bottom)};
}

}  // namespace nivra
