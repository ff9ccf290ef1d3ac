#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <numeric>
#include <vector>

#include "scene.h"

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
  Cost feed(const Detections& frame, Detections& working);

  ObjectTracker& getTracker() { return *tracker; }

 private:
  std::unique_ptr<ObjectTracker> tracker;
  unsigned long long frameDuration;
  unsigned long long timestamp = 0;
};

/// The cheapest time of each step of a pass, over passes that do the same work. Whatever else the machine does can only
/// add to a step's time, and rarely hits the same step in every pass.
class StepTimes {
 public:
  explicit StepTimes(std::size_t steps) : best(steps, std::numeric_limits<double>::infinity()) {}

  void add(std::size_t step, double nanoseconds) { best[step] = std::min(best[step], nanoseconds); }
  double sum() const { return std::accumulate(best.begin(), best.end(), 0.0); }
  double mean() const { return sum() / static_cast<double>(best.size()); }

 private:
  std::vector<double> best;
};

}  // namespace nivra::bench
