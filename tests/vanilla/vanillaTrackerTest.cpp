#include "nivra/vanilla/vanillaTracker.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "support/detections.h"

namespace nivra::vanilla {
namespace {

using test::boxAt;
using test::detectionOf;
using test::kFrame;

static_assert(!std::is_copy_constructible_v<VanillaTracker> && !std::is_move_constructible_v<VanillaTracker>);

class VanillaTrackerTest : public testing::Test {
 protected:
  TrackUpdateResult feed(std::vector<ObjectDetection> detections) { return tracker.update(detections, now += kFrame); }
  void feedUntilConfident(const Box& box) {
    do feed({detectionOf(box)});
    while (!tracker.getTracks().at(0).confident);
  }

  VanillaTracker tracker{test::vanillaParams(), test::kHumansAndCars};
  unsigned long long now = 0;
};

TEST_F(VanillaTrackerTest, StartsATrackForEveryDetectionNotTaken) {
  const Box boxes[] = {boxAt(-0.5F, 0.0F, 0.2F, 0.4F), boxAt(0.0F, 0.0F, 0.2F, 0.4F), boxAt(0.5F, 0.0F, 0.2F, 0.4F)};
  feed({detectionOf(boxes[0], "human", 11), detectionOf(boxes[1], "car", 12), detectionOf(boxes[2], "tree", 13)});
  std::vector<internal::DebugTrack> tracks = tracker.getDebugTracks();
  ASSERT_EQ(tracks.size(), 3U);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(tracks[static_cast<std::size_t>(i)].track.id, i);
    EXPECT_EQ(tracks[static_cast<std::size_t>(i)].lastDetectionId, 11 + i);
    EXPECT_FALSE(tracks[static_cast<std::size_t>(i)].track.confident);
  }

  // The label "tree" is associated with nothing: its track ends, and another one starts each frame.
  const TrackUpdateResult result =
      feed({detectionOf(boxes[2], "tree", 23), detectionOf(boxes[1], "car", 22), detectionOf(boxes[0], "human", 21)});
  EXPECT_EQ(result.removedIds, (std::set<int>{2}));
  EXPECT_TRUE(result.mergedIds.empty());
  tracks = tracker.getDebugTracks();
  ASSERT_EQ(tracks.size(), 3U);
  EXPECT_EQ(tracks[0].lastDetectionId, 21);
  EXPECT_EQ(tracks[1].lastDetectionId, 22);
  EXPECT_EQ(tracks[2].track.id, 3);

  EXPECT_EQ(feed({}).removedIds, (std::set<int>{3}));
}

TEST_F(VanillaTrackerTest, GivesAContestedTrackTheBetterDetection) {
  feedUntilConfident(boxAt(0.0F, 0.0F, 0.2F, 0.4F));
  feed({detectionOf(boxAt(0.03F, 0.0F, 0.2F, 0.4F), "human", 1),
        detectionOf(boxAt(0.01F, 0.0F, 0.2F, 0.4F), "human", 2)});
  const auto tracks = tracker.getDebugTracks();
  ASSERT_EQ(tracks.size(), 2U);
  EXPECT_EQ(tracks[0].lastDetectionId, 2);
  EXPECT_EQ(tracks[1].lastDetectionId, 1);
  EXPECT_EQ(tracks[1].track.id, 1);
}

TEST_F(VanillaTrackerTest, ServesConfirmedTracksBeforeTentativeOnes) {
  const Box old = boxAt(0.0F, 0.0F, 0.2F, 0.4F);
  const Box young = boxAt(0.06F, 0.0F, 0.2F, 0.4F);
  feedUntilConfident(old);
  feed({detectionOf(old), detectionOf(young)});
  // Nearer to the tentative track, but within reach of the confirmed one.
  const TrackUpdateResult result = feed({detectionOf(boxAt(0.05F, 0.0F, 0.2F, 0.4F), "human", 7)});
  EXPECT_EQ(result.removedIds, (std::set<int>{1}));
  ASSERT_EQ(tracker.getDebugTracks().size(), 1U);
  EXPECT_EQ(tracker.getDebugTracks()[0].lastDetectionId, 7);
}

TEST_F(VanillaTrackerTest, BreaksTiesByTrackThenDetection) {
  const Box box = boxAt(0.0F, 0.0F, 0.2F, 0.4F);
  for (int frame = 0; frame < 40; ++frame) {
    feed({detectionOf(box, "human", 1), detectionOf(box, "human", 2), detectionOf(box, "human", 3)});
    const auto tracks = tracker.getDebugTracks();
    ASSERT_EQ(tracks.size(), 3U);
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(tracks[static_cast<std::size_t>(i)].track.id, i);
      ASSERT_EQ(tracks[static_cast<std::size_t>(i)].lastDetectionId, i + 1);
    }
  }
}

TEST_F(VanillaTrackerTest, ListsCandidatesByDetectionThenTrack) {
  const Box box = boxAt(0.0F, 0.0F, 0.2F, 0.4F);
  feed({detectionOf(box), detectionOf(boxAt(0.02F, 0.0F, 0.2F, 0.4F)), detectionOf(boxAt(0.7F, 0.0F, 0.2F, 0.4F))});
  tracker.predict(now += kFrame);
  const std::vector<ObjectDetection> detections = {detectionOf(boxAt(-0.7F, 0.0F, 0.2F, 0.4F)), detectionOf(box),
                                                   detectionOf(boxAt(0.01F, 0.0F, 0.2F, 0.4F))};
  const auto candidates = tracker.associate(detections);
  ASSERT_EQ(candidates.size(), 4U);
  EXPECT_EQ(candidates[0].detection, &detections[1]);
  EXPECT_EQ(candidates[1].detection, &detections[1]);
  EXPECT_EQ(candidates[3].detection, &detections[2]);
  EXPECT_EQ(candidates[0].track->getId(), 0);
  EXPECT_EQ(candidates[1].track->getId(), 1);
  EXPECT_LT(candidates[0].cost, candidates[1].cost);
  EXPECT_EQ(candidates[3].cost, -candidates[3].track->observationLikelihood(detections[2]));
}

TEST(VanillaTracker, EndsNewTracksAtOnceBelowTheExpirationThreshold) {
  VanillaTracker tracker(test::vanillaParams({{"vanilla.expirationLikelihoodThreshold", "0.5"}}), test::kHumansAndCars);
  for (int frame = 1; frame <= 3; ++frame) {
    std::vector<ObjectDetection> detections = {detectionOf(boxAt(0.0F, 0.0F, 0.2F, 0.4F))};
    EXPECT_EQ(tracker.update(detections, static_cast<unsigned long long>(frame) * kFrame).removedIds,
              (std::set<int>{frame - 1}));
    EXPECT_TRUE(tracker.getTracks().empty());
  }
}

TEST(VanillaTracker, HoldsIdentitiesThroughMissedFramesAndNoise) {
  VanillaTracker tracker(test::vanillaParams(), test::kHumansAndCars);
  int identity = -1;
  for (int frame = 0; frame < 200; ++frame) {
    std::vector<ObjectDetection> detections;
    const float x = -0.9F + 0.008F * static_cast<float>(frame);
    const float wobble = frame % 2 == 0 ? 0.004F : -0.004F;
    if (frame < 20 || frame % 5 != 0) detections.push_back(detectionOf(boxAt(x + wobble, 0.1F, 0.1F, 0.3F)));
    tracker.update(detections, static_cast<unsigned long long>(frame + 1) * kFrame);
    if (frame < 20) continue;
    const auto tracks = tracker.getTracks();
    ASSERT_EQ(tracks.size(), 1U) << frame;
    if (identity < 0) identity = tracks[0].id;
    EXPECT_EQ(tracks[0].id, identity);
    EXPECT_TRUE(tracks[0].confident);
    EXPECT_NEAR((tracks[0].box.left + tracks[0].box.right) / 2, x, 0.02F);
    EXPECT_NEAR(tracks[0].velocityX, 0.2F, 0.05F);
  }
  EXPECT_EQ(identity, 0);
}

}  // namespace
}  // namespace nivra::vanilla
