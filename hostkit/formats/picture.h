#pragma once

#include <optional>

#include "nivra/nivra.h"

namespace nivra::hostkit {

/// Size of the camera's picture in pixels.
struct PictureSize {
  int width = 0;
  int height = 0;
};

/// A position in double precision: of pixels, with the origin in the picture's top left corner and y growing downward,
/// or of the library's coordinates.
struct Position {
  double x = 0.0;
  double y = 0.0;
};

/// A box in pixels; the origin is the picture's top left corner and y grows downward.
struct PixelBox {
  double left = 0.0;
  double top = 0.0;
  double width = 0.0;
  double height = 0.0;
};

/// Whether there is anything of a box that ended at the border of the picture.
inline bool hasArea(const PixelBox& box) {
  constexpr double kLeast = 0.0005;  // that thousandths tell from 0
  return box.width >= kLeast && box.height >= kLeast;
}

inline Position toNormalised(Position pixels, PictureSize picture) {
  return {2.0 * pixels.x / picture.width - 1.0, 1.0 - 2.0 * pixels.y / picture.height};
}

inline Position toPixels(Position normalised, PictureSize picture) {
  return {(normalised.x + 1.0) / 2.0 * picture.width, (1.0 - normalised.y) / 2.0 * picture.height};
}

/// The box between two corners, in single precision.
inline Box boxBetween(Position topLeft, Position bottomRight) {
  return {static_cast<float>(topLeft.x), static_cast<float>(topLeft.y), static_cast<float>(bottomRight.x),
          static_cast<float>(bottomRight.y)};
}

inline Box toNormalised(const PixelBox& box, PictureSize picture) {
  return boxBetween(toNormalised(Position{box.left, box.top}, picture),
                    toNormalised(Position{box.left + box.width, box.top + box.height}, picture));
}

inline PixelBox toPixels(const Box& box, PictureSize picture) {
  const Position topLeft = toPixels(Position{box.left, box.top}, picture);
  const Position bottomRight = toPixels(Position{box.right, box.bottom}, picture);
  return {topLeft.x, topLeft.y, bottomRight.x - topLeft.x, bottomRight.y - topLeft.y};
}

/// Width divided by height; the usual one if nobody knows the picture.
inline float aspectRatio(const std::optional<PictureSize>& picture) {
  constexpr float kUsual = 16.0F / 9.0F;
  return picture ? static_cast<float>(picture->width) / static_cast<float>(picture->height) : kUsual;
}

}  // namespace nivra::hostkit
