#include "hostkit/formats/picture.h"

namespace nivra::hostkit {

bool hasArea(const PixelBox& box) {
  constexpr double kLeast = 0.0005;  // that thousandths tell from 0
  return box.width >= kLeast && box.height >= kLeast;
}

Position toNormalised(Position pixels, PictureSize picture) {
  return {2.0 * pixels.x / picture.width - 1.0, 1.0 - 2.0 * pixels.y / picture.height};
}

Position toPixels(Position normalised, PictureSize picture) {
  return {(normalised.x + 1.0) / 2.0 * picture.width, (1.0 - normalised.y) / 2.0 * picture.height};
}

Box boxBetween(Position topLeft, Position bottomRight) {
  return {static_cast<float>(topLeft.x), static_cast<float>(topLeft.y), static_cast<float>(bottomRight.x),
          static_cast<float>(bottomRight.y)};
}

Box toNormalised(const PixelBox& box, PictureSize picture) {
  return boxBetween(toNormalised(Position{box.left, box.top}, picture),
                    toNormalised(Position{box.left + box.width, box.top + box.height}, picture));
}

PixelBox toPixels(const Box& box, PictureSize picture) {
  const Position topLeft = toPixels(Position{box.left, box.top}, picture);
  const Position bottomRight = toPixels(Position{box.right, box.bottom}, picture);
  return {topLeft.x, topLeft.y, bottomRight.x - topLeft.x, bottomRight.y - topLeft.y};
}

}  // namespace nivra::hostkit
