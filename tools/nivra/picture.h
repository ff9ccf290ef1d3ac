#pragma once

#include "nivra/nivra.h"

namespace nivra::tool {

/// Size of the camera's picture in pixels.
struct PictureSize {
  int width = 0;
  int height = 0;
};

/// A box in pixels; the origin is the picture's top left corner and y grows downward.
struct PixelBox {
  double left = 0.0;
  double top = 0.0;
  double width = 0.0;
  double height = 0.0;
};

Box toNormalised(const PixelBox& box, PictureSize picture);
PixelBox toPixels(const Box& box, PictureSize picture);

}  // namespace nivra::tool
