#include "picture.h"

namespace nivra::tool {

Box toNormalised(const PixelBox& box, PictureSize picture) {
  const auto x = [&](double pixels) { return static_cast<float>(2.0 * pixels / picture.width - 1.0); };
  const auto y = [&](double pixels) { return static_cast<float>(1.0 - 2.0 * pixels / picture.height); };
  return {x(box.left), y(box.top), x(box.left + box.width), y(box.top + box.height)};
}

PixelBox toPixels(const Box& box, PictureSize picture) {
  const auto x = [&](float coordinate) { return (static_cast<double>(coordinate) + 1.0) / 2.0 * picture.width; };
  const auto y = [&](float coordinate) { return (1.0 - static_cast<double>(coordinate)) / 2.0 * picture.height; };
  return {x(box.left), y(box.top), x(box.right) - x(box.left), y(box.bottom) - y(box.top)};
}

}  // namespace nivra::tool
