#pragma once

#include <cstddef>
#include <vector>

#include "nivra/nivra.h"

namespace nivra::hostkit {

/// Finds out whether a camera's detector leaves many boxes of each object in place, each of which would be a track.
class SuppressionWatch {
 public:
  /// How many boxes of a frame lie on one of their label, if it is the first frame of which they are too many; else 0.
  std::size_t duplicatesAt(const std::vector<ObjectDetection>& detections);

 private:
  int framesToWatch = 50;
  std::vector<const ObjectDetection*> order;
};

}  // namespace nivra::hostkit
