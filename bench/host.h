#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "world.h"

namespace nivra::bench {

/// What one or several calls of `update` took.
struct Cost {
  double nanoseconds = 0.0;
  std::size_t allocations = 0;

  Cost& operator+=(const Cost& other);
};

/// The name of the tracker that `makeTracker` makes for a selector.
const char* trackerName(int selector);

constexpr int kSelectors = 4;

/// A tracker with default parameters, and the time on its camera's clock.
class Host {
 public:
  explicit Host(int selector, unsigned long long frameDurationInNanoseconds = kFrameDuration);

  /// The cost of `update` alone. The frame is copied into `working` before, as detections come to a tracker from a
  /// detector that has just written them.
  Cost feed(const Frame& frame, Frame& working);

  ObjectTracker& getTracker() { return *tracker; }

 private:
  std::unique_ptr<ObjectTracker> tracker;
  unsigned long long frameDuration;
  unsigned long long timestamp = 0;
};

/// The middle one, the higher of two.
double median(std::vector<double> values);

}  // namespace nivra::bench
