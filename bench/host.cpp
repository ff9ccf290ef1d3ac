#include "host.h"

#include <chrono>

#include "allocations.h"

namespace nivra::bench {

Cost& Cost::operator+=(const Cost& other) {
  nanoseconds += other.nanoseconds;
  allocations += other.allocations;
  return *this;
}

const char* trackerName(int selector) {
  constexpr const char* kNames[kSelectors] = {"vanilla", "reid", "hybrid", "lowFps"};
  return kNames[selector];
}

Host::Host(int selector, unsigned long long frameDurationInNanoseconds)
    : tracker(makeTracker(selector, {}, labelAssociations(), kAspectRatio)),
      frameDuration(frameDurationInNanoseconds) {}

Cost Host::feed(const Detections& frame, Detections& working) {
  working = frame;
  timestamp += frameDuration;
  const std::size_t callsBefore = allocations().calls;
  const auto start = std::chrono::steady_clock::now();
  tracker->update(working, timestamp);
  const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
  return {elapsed.count(), allocations().calls - callsBefore};
}

}  // namespace nivra::bench
