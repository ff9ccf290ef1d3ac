#include "cameraMotion/boxTable.h"

#include <algorithm>
#include <limits>

#include "core/boxGeometry.h"

namespace nivra {

namespace {

std::size_t padded(std::size_t rows) {
  return (rows + BoxTable::kRowsAtOnce - 1) / BoxTable::kRowsAtOnce * BoxTable::kRowsAtOnce;
}

}  // namespace

/// Makes room for so many rows.
void BoxTable::begin(std::size_t count) {
  rows = 0;
  const std::size_t most = padded(count);
  if (most > width.size()) {
    ids.resize(most);
    for (std::vector<float>* column : {&x, &y, &height, &width}) column->resize(most);
  }
  rows = count;
  std::fill(x.data() + rows, x.data() + most, std::numeric_limits<float>::infinity());
}

void BoxTable::fill(const std::vector<ObjectDetection>& detections) {
  begin(detections.size());
  for (std::size_t i = 0; i < rows; ++i) {
    const Box box = clampedToPicture(detections[i].box);  // as the tracks are reported
    const Point middle = center(box);
    x[i] = middle.x;
    y[i] = middle.y;
    width[i] = nivra::width(box);
    height[i] = nivra::height(box);
    ids[i] = detections[i].id;
  }
}

std::size_t BoxTable::find(std::int32_t id) const {
  const auto guess = static_cast<std::size_t>(id);  // most hosts count
  if (guess < rows && ids[guess] == id) return guess;
  return static_cast<std::size_t>(std::find(ids.data(), ids.data() + rows, id) - ids.data());
}

}  // namespace nivra
