#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "support/crowd.h"

namespace nivra {
namespace {

std::string track(ObjectTracker& tracker, std::uint32_t seed) {
  test::Crowd crowd(12, seed);
  std::string reports;
  for (std::uint64_t frame = 1; frame <= 150; ++frame) {
    auto detections = crowd.nextFrame();
    tracker.update(detections, frame * test::kFrame);
    reports += test::fingerprint(tracker.getDebugTracks());
  }
  return reports;
}

// Meant for the thread sanitizer; without it, it still shows that trackers share no state.
TEST(Threads, EightTrackersOnEightThreadsDontInterfere) {
  constexpr std::uint32_t kThreads = 8;
  MotionTrackerServer server;
  std::vector<std::unique_ptr<ObjectTracker>> trackers;
  const auto make = [](std::uint32_t i) {
    return makeTracker(static_cast<int>(i % 4), {}, test::kHumansAndCars, 1.0F);
  };
  for (std::uint32_t i = 0; i < kThreads; ++i) trackers.push_back(make(i));

  std::vector<std::string> reports(kThreads);
  std::vector<std::thread> threads;
  for (std::uint32_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] { reports[i] = track(*trackers[i], i); });
  }
  for (std::thread& thread : threads) thread.join();

  for (std::uint32_t i = 0; i < kThreads; ++i) {
    EXPECT_EQ(reports[i], track(*make(i), i)) << "thread " << i;
    EXPECT_FALSE(reports[i].empty());
  }
}

}  // namespace
}  // namespace nivra
