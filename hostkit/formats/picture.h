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
bool hasArea(const PixelBox& box);

Position toNormalised(Position pixels, PictureSize picture);
Position toPixels(Position normalised, PictureSize picture);

/// The box between two corners, in single precision.
Box boxBetween(Position topLeft, Position bottomRight);

Box toNormalised(const PixelBox& box, PictureSize picture);
PixelBox toPixels(const Box& box, PictureSize picture);

/// Width divided by height; the usual one if nobody knows the picture.
inline float aspectRatio(const std::optional<PictureSize>& picture) {
  constexpr float kUsual = 16.0F / 9.0F;
  return picture ? static_cast<float>(picture->width) / static_cast<float>(picture->height) : kUsual;
}

}  // namespace nivra::hostkit
