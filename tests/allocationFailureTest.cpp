// How much memory a frame takes, and what is left when it runs out inside one. A program of its own, since it replaces
// the global operator new.

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <set>

#include "support/detections.h"
#include "support/replacedNew.h"

namespace {

constexpr long kNever = std::numeric_limits<long>::max();
long untilFailure = kNever;
long living = 0;
long made = 0;
std::size_t livingBytes = 0;
std::size_t mostBytes = 0;

void* allocate(std::size_t size) noexcept {
  if (untilFailure != kNever && --untilFailure < 0) {
    untilFailure = kNever;
    return nullptr;
  }
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) return nullptr;
  ++living;
  ++made;
  livingBytes += malloc_usable_size(memory);
  mostBytes = std::max(mostBytes, livingBytes);
  return memory;
}

// Inlined, it lets GCC take free for a mismatch with a new that it sees only from outside.
[[gnu::noinline]] void release(void* memory) noexcept {
  if (memory == nullptr) return;
  --living;
  livingBytes -= malloc_usable_size(memory);
  std::free(memory);
}

}  // namespace

namespace nivra::test {
namespace {

constexpr std::uint64_t kFrames = 22;
constexpr std::uint64_t kLastFailure = 19;
constexpr std::uint64_t kInterval = kSecond / 5;

/// One object stays, one comes back after being lost, one leaves for good, one overlaps the first.
std::vector<std::vector<ObjectDetection>> recordedFrames() {
  std::vector<std::vector<ObjectDetection>> frames(kFrames);
  for (std::uint64_t frame = 0; frame < kFrames; ++frame) {
    const float x = 0.01F * static_cast<float>(frame);
    auto& detections = frames[static_cast<std::size_t>(frame)];
    detections.push_back(person(boxAt(x, 0), {1, 0, 0}));
    if (frame < 7 || frame > 10) detections.push_back(person(boxAt(-0.7F, x), {0, 1, 0}));
    if (frame < 4) detections.push_back(detectionOf(boxAt(0.7F, x), "car"));
    if (frame > 5) detections.push_back(person(boxAt(x + 0.05F, 0.3F), {0, 0, 1}));
    for (std::size_t i = 0; i < detections.size(); ++i) {
      detections[i].id = static_cast<int>(i);
      detections[i].objectness = 90.0F - static_cast<float>(i);
      detections[i].attributes = {{1, static_cast<int>(frame % 3), 50.0F}};
    }
  }
  return frames;
}

class AllocationFailure : public testing::TestWithParam<int> {};

TEST_P(AllocationFailure, LosesNothingButTheFrame) {
  auto frames = recordedFrames();
  const ParameterMap people = {{"reid.minTimeBeforeConfident", "1"},
                               {"reid.minTimeBeforeConfidentId", "400000000"},
                               {"reid.inactiveAge", "400000000"},
                               {"reid.maxTentativeAge", "400000000"},
                               {"reid.maxStoreFeaturesIou", "0.5"}};
  const ParameterMap params = GetParam() == 1 || GetParam() == 2 ? people : ParameterMap();
  bool isWhole = false;
  for (long allocation = 0; !isWhole; ++allocation) {
    SCOPED_TRACE("allocation " + std::to_string(allocation));
    const long livingBefore = living;
    {
      const auto tracker = makeTracker(GetParam(), params, kHumansAndCars, 1.0F);
      std::set<int> removed;
      std::size_t merged = 0;
      int thrown = 0;
      int first = -1;
      long left = allocation;
      for (std::uint64_t frame = 0; frame < kFrames; ++frame) {
        TrackUpdateResult result;
        std::vector<TrackedObjectDetection> tracks;
        untilFailure = frame < kLastFailure ? left : kNever;
        try {
          result = tracker->update(frames[static_cast<std::size_t>(frame)], (frame + 1) * kInterval);
          tracks = tracker->getTracks();
          for (const internal::DebugTrack& debug : tracker->getDebugTracks()) {
            if (first < 0 && debug.lastDetectionId == 0) first = debug.track.id;
          }
        } catch (const std::bad_alloc&) {
          ++thrown;
        }
        if (frame < kLastFailure) left = untilFailure;
        untilFailure = kNever;
        merged += result.mergedIds.size();
        for (const int id : result.removedIds) ASSERT_TRUE(removed.insert(id).second) << id << " ended twice";
        std::set<int> reported;
        for (const TrackedObjectDetection& track : tracks) {
          ASSERT_TRUE(reported.insert(track.id).second && removed.count(track.id) == 0) << track.id;
        }
      }
      isWhole = left != kNever;
      ASSERT_LE(thrown, isWhole ? 0 : 1);  // a sort that gets no buffer does without
      std::multiset<int> taken;
      for (const internal::DebugTrack& debug : tracker->getDebugTracks()) {
        taken.insert(debug.lastDetectionId);
        ASSERT_EQ(debug.lastDetectionId == 0, debug.track.id == first) << "who stays keeps the identity";
      }
      for (const int detection : {0, 1, 2}) ASSERT_EQ(taken.count(detection), 1U) << "detection " << detection;
      if (isWhole) {
        EXPECT_EQ(merged > 0, !params.empty());
        EXPECT_FALSE(removed.empty());
        EXPECT_GT(allocation, 100);
      }
    }
    ASSERT_EQ(living, livingBefore);
  }
}

TEST_P(AllocationFailure, ReportsIntoMemoryOfTheCallerTakeNone) {
  const auto tracker = makeTracker(GetParam(), {}, kHumansAndCars, 1.0F);
  std::vector<TrackReport> reports;
  std::vector<internal::DebugTrack> debugTracks;
  long reported = 0;
  for (std::uint64_t frame = 0; frame < 100; ++frame) {
    const float x = 0.001F * static_cast<float>(frame);
    std::vector<ObjectDetection> detections = {person(boxAt(x, 0), {1, 0, 0}), detectionOf(boxAt(0.7F, x), "car")};
    for (ObjectDetection& each : detections) {
      each.attributes = {{1, 2, 50.0F}, {2, 1, 50.0F}};
      each.classifications = {{each.label, 60.0F}, {"a label too long for a short string", 30.0F}};
    }
    tracker->update(detections, (frame + 1) * kInterval);
    const long before = made;
    tracker->getTracks(reports);
    tracker->getDebugTracks(debugTracks);
    ASSERT_TRUE(frame < 3 || made == before) << frame;
    reported += static_cast<long>(reports.size());
  }
  EXPECT_GT(reported, 150);
}

/// What a tracker takes at most for three frames of boxes that all lie in about one place, so that everyone could be
/// paired with everyone.
std::size_t memoryOfCrush(int selector, int size) {
  const std::size_t before = livingBytes;
  mostBytes = livingBytes;
  const auto tracker = makeTracker(selector, {}, kHumansAndCars, 1.0F);
  for (std::uint64_t frame = 1; frame <= 3; ++frame) {
    std::vector<ObjectDetection> detections;
    for (int i = 0; i < size; ++i) {
      const float x = 0.02F * static_cast<float>(frame) + 1e-4F * static_cast<float>(i % 10);
      detections.push_back(detectionOf(boxAt(x, 0.0F), selector == 3 ? "car" : "human", i));
      // At last, most lie between others; earlier, those would start no track.
      if (frame == 3) detections.back().objectness = static_cast<float>(i % 101);
    }
    tracker->update(detections, frame * kInterval);
    EXPECT_GE(tracker->getDebugTracks().size(), static_cast<std::size_t>(size));
  }
  return mostBytes - before;
}

TEST_P(AllocationFailure, MemoryOfACrushGrowsWithItsSizeNotWithItsPairs) {
  EXPECT_LT(memoryOfCrush(GetParam(), 600), 3 * memoryOfCrush(GetParam(), 300));
}

/// What it takes at most to make a tracker of so many labels.
std::size_t memoryOfLabels(int selector, int count) {
  LabelAssociations associations;
  for (int i = 0; i < count; ++i) associations[std::to_string(i)] = {std::to_string(i)};
  const std::size_t before = livingBytes;
  mostBytes = livingBytes;
  makeTracker(selector, {}, associations, 1.0F);
  return mostBytes - before;
}

TEST_P(AllocationFailure, MemoryOfLabelsGrowsWithTheirNumber) {
  EXPECT_LT(memoryOfLabels(GetParam(), 3000), 4 * memoryOfLabels(GetParam(), 1000));
}

TEST(CameraMotionEstimatorMemory, IsAllocatedOnceAndRunningOutOfItLosesNothingButTheFrame) {
  constexpr std::uint64_t kRunsOutAt = 3;
  std::vector<ObjectDetection> detections;
  for (int i = 0; i < 100; ++i)
    detections.push_back(detectionOf(boxAt(0.02F * static_cast<float>(i - 50), 0), "human", i));
  const auto tracker = makeTracker(0, {}, kHumansAndCars, 1.0F, nullptr);
  CameraMotionEstimator estimator;
  std::vector<TrackReport> reports;
  for (std::uint64_t frame = 1; frame < 10; ++frame) {
    const std::uint64_t next = (frame + 1) * kInterval;
    tracker->getTracks(reports);
    estimator.follow(reports);
    if (frame == kRunsOutAt) {
      CameraMotionEstimator poor;
      untilFailure = 2;
      EXPECT_THROW(poor.estimate(detections, next - 1), std::bad_alloc);
      untilFailure = kNever;
      poor.follow(reports);
      EXPECT_EQ(poor.estimate(detections, next).verdict, CameraMotionEstimate::Verdict::unknown);
    }
    if (frame > kRunsOutAt) untilFailure = 0;
    CameraMotionEstimate motion;
    EXPECT_NO_THROW(motion = estimator.estimate(detections, next));
    untilFailure = kNever;
    tracker->update(detections, next);
    using Verdict = CameraMotionEstimate::Verdict;
    EXPECT_EQ(motion.verdict, frame > 1 ? Verdict::still : Verdict::unknown) << "frame " << frame;
  }
}

INSTANTIATE_TEST_SUITE_P(All, AllocationFailure, testing::Range(0, 4));

}  // namespace
}  // namespace nivra::test
