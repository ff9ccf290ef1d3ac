#pragma once

#include <cstddef>
#include <vector>

#include "nivra/objectDetection.h"

namespace nivra {

/// The detections of a frame, or those of them that stand side by side and are for one tracker. Refers to the host's
/// vector.
class DetectionRange {
 public:
  DetectionRange(const ObjectDetection* firstDetection, std::size_t count) : first(firstDetection), length(count) {}
  explicit DetectionRange(const std::vector<ObjectDetection>& detections)
      : DetectionRange(detections.data(), detections.size()) {}

  std::size_t size() const { return length; }
  const ObjectDetection* begin() const { return first; }
  const ObjectDetection* end() const { return first + length; }
  const ObjectDetection& operator[](std::size_t i) const { return first[i]; }

 private:
  const ObjectDetection* first;
  std::size_t length;
};

}  // namespace nivra
