#pragma once

/// @file
/// Positions and boxes in the normalised picture.
///
/// The picture spans -1 to 1 on both axes; x grows to the right and y grows upward, so the lower left
/// corner of the picture is (-1, -1) and a well-formed box has right > left and top > bottom.

namespace nivra {

/// A position in the normalised picture.
struct Point {
  float x = 0.0F;  ///< Horizontal coordinate; -1 is the left border, 1 the right one.
  float y = 0.0F;  ///< Vertical coordinate; -1 is the lower border, 1 the upper one.
};

/// An axis-aligned box in the normalised picture.
///
/// Boxes that the host passes in may reach beyond the picture; boxes that a tracker reports are clamped
/// to it, coordinate by coordinate.
struct Box {
  float left = 0.0F;    ///< x of the left edge.
  float top = 0.0F;     ///< y of the top edge.
  float right = 0.0F;   ///< x of the right edge.
  float bottom = 0.0F;  ///< y of the bottom edge.
};

/// Picture units; negative where right lies to the left.
inline float width(const Box& box) { return box.right - box.left; }
/// Picture units; negative where the top lies below.
inline float height(const Box& box) { return box.top - box.bottom; }
/// The middle of a box.
inline Point center(const Box& box) { return {box.left + width(box) * 0.5F, box.bottom + height(box) * 0.5F}; }

}  // namespace nivra
