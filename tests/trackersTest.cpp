// What all trackers have in common.

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <set>

#include "support/crowd.h"

namespace nivra {
namespace {

using test::boxAt;
using test::detectionOf;
using test::kFrame;

class Trackers : public testing::TestWithParam<int> {
 protected:
  std::unique_ptr<ObjectTracker> make() const { return makeTracker(GetParam(), {}, test::kHumansAndCars, 1.5F); }
};

std::string run(ObjectTracker& tracker, std::uint32_t seed, unsigned long long frames) {
  test::Crowd crowd(30, seed);
  std::string bytes;
  for (unsigned long long frame = 1; frame <= frames; ++frame) {
    auto detections = crowd.nextFrame();
    const TrackUpdateResult result = tracker.update(detections, frame * kFrame);
    for (const int id : result.removedIds) bytes += std::to_string(id) + ' ';
    for (const auto& [absorbed, older] : result.mergedIds) bytes += std::to_string(absorbed) + std::to_string(older);
    bytes += test::fingerprint(tracker.getDebugTracks());
  }
  return bytes;
}

TEST_P(Trackers, GiveTheSameBytesForTheSameInputAndShareNothing) {
  const auto first = make();
  const auto second = make();
  const auto interleaved = make();
  const std::string bytes = run(*first, 7, 200);
  run(*interleaved, 8, 50);
  EXPECT_EQ(run(*second, 7, 200), bytes);
  EXPECT_GT(bytes.size(), 10000U);
}

TEST_P(Trackers, StartAndAgeTracks) {
  const auto tracker = make();
  std::vector<ObjectDetection> none;
  EXPECT_TRUE(tracker->update(none, kFrame).removedIds.empty());
  std::vector<ObjectDetection> two = {detectionOf(boxAt(-0.5F, 0, 0.2F, 0.4F), "human", 7),
                                      detectionOf({-1.3F, 0.5F, -0.7F, -2.0F}, "human", 8)};
  EXPECT_TRUE(tracker->update(two, 2 * kFrame).removedIds.empty());
  const auto debug = tracker->getDebugTracks();
  ASSERT_EQ(debug.size(), 2U);
  EXPECT_LT(debug[0].track.id, debug[1].track.id);
  EXPECT_EQ(debug[0].lastDetectionId, 7);
  EXPECT_EQ(debug[1].track.box.left, -1.0F);
  EXPECT_EQ(debug[1].track.box.bottom, -1.0F);
  EXPECT_FALSE(debug[0].track.confident);

  std::set<int> removed;
  for (unsigned long long frame = 3; frame < 40; ++frame)
    removed.merge(tracker->update(none, frame * kFrame).removedIds);
  EXPECT_EQ(removed, (std::set<int>{debug[0].track.id, debug[1].track.id}));
  EXPECT_TRUE(tracker->getDebugTracks().empty());
}

TEST_P(Trackers, ReportTimesOutOfOrderAndGoOn) {
  const auto tracker = make();
  const auto box = boxAt(0, 0, 0.2F, 0.4F);
  for (unsigned long long frame = 1; frame <= 20; ++frame) {
    std::vector<ObjectDetection> detections = {detectionOf(box, "human", 1)};
    tracker->update(detections, frame * kFrame);
  }
  const std::string prediction = "The prediction timestamp should be newer than the last prediction\n";
  std::vector<ObjectDetection> same = {detectionOf(box, "human", 2)};
  testing::internal::CaptureStderr();
  tracker->update(same, 20 * kFrame);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), prediction);
  EXPECT_EQ(tracker->getDebugTracks().at(0).lastDetectionId, 2);

  const std::string before = test::fingerprint(tracker->getDebugTracks());
  std::vector<ObjectDetection> older = {detectionOf(box, "human", 3),
                                        detectionOf(boxAt(0.7F, 0, 0.2F, 0.4F), "human", 4)};
  testing::internal::CaptureStderr();
  tracker->update(older, 19 * kFrame);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            prediction + "The detection does not have the same timestamp as the latest prediction\n");
  const auto tracks = tracker->getDebugTracks();
  ASSERT_EQ(tracks.size(), 2U);
  EXPECT_EQ(test::fingerprint({tracks[0]}), before);
  EXPECT_EQ(tracks[1].lastDetectionId, 4);
}

// Ten thousand frames of a crowd, among which detections of arbitrary bits turn up.
TEST_P(Trackers, SurviveArbitraryFloatsWithBoundedMemory) {
  constexpr std::uint32_t kSeed = 20261122;
  SCOPED_TRACE(kSeed);
  test::Crowd crowd(6, kSeed);
  std::mt19937 random(kSeed);
  const auto tracker = make();
  const auto anyFloat = [&random] {
    const auto bits = static_cast<std::uint32_t>(random());
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return random() % 8 == 0 ? std::numeric_limits<float>::quiet_NaN() : value;
  };
  std::set<int> ended;
  for (unsigned long long frame = 1; frame <= 10'000; ++frame) {
    auto detections = crowd.nextFrame();
    for (ObjectDetection& detection : detections) detection.feature = {1.0F, static_cast<float>(detection.id)};
    ObjectDetection wild = detectionOf({anyFloat(), anyFloat(), anyFloat(), anyFloat()});
    wild.score = anyFloat();
    wild.objectness = anyFloat();
    wild.classifications[0].score = anyFloat();
    wild.attributes = {{1, 1, anyFloat()}, {1, 2, anyFloat()}};
    wild.feature = std::vector<float>(random() % 4, anyFloat());
    detections.push_back(wild);
    detections[0].feature = wild.feature;
    const std::size_t fed = detections.size();
    for (const int id : tracker->update(detections, frame * kFrame).removedIds) {
      ASSERT_TRUE(ended.insert(id).second) << "identity " << id << " ended twice";
    }
    ASSERT_EQ(detections.size(), fed);
    std::set<int> alive;
    for (const TrackedObjectDetection& track : tracker->getTracks()) {
      ASSERT_TRUE(alive.insert(track.id).second && ended.count(track.id) == 0) << track.id;
      for (const float edge : {track.box.left, track.box.top, track.box.right, track.box.bottom}) {
        ASSERT_FALSE(edge < -1.0F || edge > 1.0F);
      }
    }
    ASSERT_LT(tracker->getDebugTracks().size(), 100U);
  }
}

std::string nameOf(const testing::TestParamInfo<int>& selector) {
  const char* const names[] = {"Vanilla", "Reid", "Hybrid", "LowFps"};
  return names[selector.param];
}
INSTANTIATE_TEST_SUITE_P(All, Trackers, testing::Range(0, 4), nameOf);

}  // namespace
}  // namespace nivra
