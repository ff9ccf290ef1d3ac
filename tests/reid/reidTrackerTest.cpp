// The re-identification tracker, alone and inside the hybrid tracker.

#include "nivra/reid/reidTracker.h"

#include <gtest/gtest.h>

#include "support/detections.h"
#include "support/dice.h"

namespace nivra::test {

TEST(Reidentification, GivesPeopleWhoComeBackTheirOldIdentity) {
  // There for 4 s with the feature {1, 0}, away for 3 s and back for good with another one.
  // The stories list the identities reported whenever they change, those absorbed and those removed.
  const std::tuple<int, std::vector<float>, const char*> cases[] = {{1, {1, 0}, "[0 ][][1 ]1>0 -1 [0 ]"},
                                                                    {1, {4, 1}, "[0 ][][1 ]1>0 -1 [0 ]"},
                                                                    {1, {0, 1}, "[0 ][][1 ]-0 "},
                                                                    {1, {}, "[0 ][][1 ]-0 "},
                                                                    {2, {1, 0}, "[1 ][][3 ]3>1 -3 [1 ]"}};
  for (const auto& [selector, feature, expected] : cases) {
    const auto tracker = makeTracker(selector, {}, kHumansAndCars, 1.5F);
    std::string story;
    std::string reported;
    for (std::uint64_t now = kFrame; now <= 25 * kSecond; now += kFrame) {
      std::vector<ObjectDetection> detections;
      if (now <= 4 * kSecond) detections = {person(boxAt(0, 0), {1, 0})};
      if (now > 7 * kSecond) detections = {person(boxAt(0.05F, 0), feature)};
      const TrackUpdateResult result = feed(*tracker, now, detections);
      for (const auto& [young, old] : result.mergedIds)
        story += std::to_string(young) + '>' + std::to_string(old) + ' ';
      for (const int id : result.removedIds) story += '-' + std::to_string(id) + ' ';
      std::string ids = "[";
      for (const auto& track : tracker->getTracks()) ids += std::to_string(track.id) + ' ';
      if (ids != reported) story += ids + ']';
      reported = ids;
    }
    EXPECT_EQ(story, expected);
    EXPECT_TRUE(tracker->getTracks().at(0).confident);
  }
}

// Set back, the clock leaves the lost track in the future. Whoever finds it is merged into it all the same, though it
// can't take the detection, and once the time has come it is the one that goes on.
TEST(ReidTracker, KeepsAnIdentityWhenTheClockIsSetBack) {
  const auto tracker = makeTracker(1, {}, kHumansAndCars, 1.0F);
  std::string story;
  const auto follow = [&](std::uint64_t from, std::uint64_t until, const std::vector<ObjectDetection>& detections) {
    for (std::uint64_t now = from; now <= until; now += kFrame) {
      for (const auto& [young, old] : feed(*tracker, now, detections).mergedIds) {
        story += std::to_string(young) + '>' + std::to_string(old) + ' ';
      }
    }
  };
  const std::vector<ObjectDetection> somebody = {person(boxAt(0, 0), {1, 0})};
  follow(kSecond, 5 * kSecond, somebody);
  follow(5 * kSecond + kFrame, 12 * kSecond, {});
  testing::internal::CaptureStderr();
  follow(8 * kSecond, 15 * kSecond, somebody);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(story, "1>0 2>0 ");
  EXPECT_EQ(briefOf(*tracker), "0human0+ ");
}

TEST(ReidTracker, KeepsPeopleThroughAPauseOfTheCamera) {
  for (const std::uint64_t pause : {10 * kSecond, 60 * kSecond, 300 * kSecond}) {
    const auto tracker = makeTracker(1, {}, kHumansAndCars, 1.8F);
    Dice dice(1);
    std::uint64_t now = 0;
    for (int frame = 0; frame < 400; ++frame) {
      now += frame == 200 ? pause : kFrame;
      std::vector<ObjectDetection> people;
      for (std::size_t i = 0; i < 8; ++i) {
        std::vector<float> feature(8);
        feature[i] = 1;
        const float x = -0.75F + 0.5F * static_cast<float>(i % 4), noise = 0.001F;
        people.push_back(person(boxAt(x + dice.between(-noise, noise), i < 4 ? -0.45F : 0.45F, 0.08F, 0.3F), feature));
        people.back().id = static_cast<int>(i);
      }
      tracker->update(people, now);
    }
    EXPECT_EQ(briefOf(*tracker), "0human0+ 1human1+ 2human2+ 3human3+ 4human4+ 5human5+ 6human6+ 7human7+ ") << pause;
  }
}

TEST(ReidTracker, StoresNoFeaturesOfOverlappingTracks) {
  for (const bool isAlone : {true, false}) {
    const auto tracker = makeTracker(1, {}, kHumansAndCars, 1.0F);
    std::uint64_t now = 0;
    // The last appearance is near enough to the one before it, but too far from the first.
    for (const auto& feature : std::vector<std::vector<float>>{{1, 0}, {4, 3}, {1, 2}}) {
      std::vector<ObjectDetection> detections = {person(boxAt(0, 0), feature)};
      if (!isAlone) detections.push_back(person(boxAt(0.15F, 0), {-1, 0}));
      tracker->update(detections, now += kFrame);
    }
    EXPECT_EQ(briefOf(*tracker), isAlone ? "0human0 " : "0human-1 1human0 2human0 ");
  }
}

TEST(ReidTracker, FindsOverlappingTracksOfOneLabelUnlessLostLong) {
  const reid::TrackerParams params = reidParams({{"reid.inactiveOverlapExtraTime", "500000000"}});
  const auto overlapping = [&params](const reid::ObjectTrack& first, float x, const char* label, std::uint64_t now) {
    const std::vector<reid::ObjectTrack> tracks = {first, {detectionOf(boxAt(x, 0), label), 6, kNow, params}};
    return reid::ReidTracker::getOverlappingTracks(tracks, now, params) == std::set<int>{4, 6};
  };
  const reid::ObjectTrack active = trackAged(kFrame, 4, params);
  EXPECT_TRUE(overlapping(active, 0.199F, "human", kNow + 9 * kSecond));
  EXPECT_FALSE(overlapping(active, 0.2F, "human", kNow));
  EXPECT_FALSE(overlapping(active, 0.1F, "car", kNow));
  EXPECT_TRUE(overlapping(lostTrack(4, params), 0, "human", kNow + 1'500'000'000));
  EXPECT_FALSE(overlapping(lostTrack(4, params), 0, "human", kNow + 1'500'000'001));
}

TEST(ReidTracker, StartsNoTracksInBetween) {
  const auto tracker = makeTracker(1, {}, kHumansAndCars, 1.0F);
  // The angle is just wide enough in a picture of 16:9.
  std::vector<ObjectDetection> frame = {detectionOf(boxAt(-0.15F, 0.1538F), "human", 1), detectionOf(boxAt(0, 0)),
                                        detectionOf(boxAt(0.15F, 0.1538F), "human", 2), detectionOf(boxAt(0.8F, 0))};
  frame[0].objectness = frame[2].objectness = 90;
  frame[3].inbetween = true;  // as the host says
  tracker->update(frame, kFrame);
  EXPECT_TRUE(frame[1].inbetween);
  EXPECT_EQ(briefOf(*tracker), "0human1 1human2 ");
}

TEST(HybridTracker, SplitsByLabelAndMergesByInnerIdentity) {
  const auto tracker = makeTracker(2, {}, {{"human", {"human"}}, {"truck", {"truck"}}}, 1.0F);
  std::vector<ObjectDetection> frame;
  for (const char* label : {"truck", "human", "Human", "human"}) {
    const auto id = static_cast<int>(frame.size());
    frame.push_back(detectionOf(boxAt(-0.8F + 0.4F * static_cast<float>(id), 0), label, id));
  }
  tracker->update(frame, kFrame);
  EXPECT_EQ(frame[0].label + frame[1].label, "humanhuman");
  EXPECT_EQ(briefOf(*tracker), "0Human2 1human3 2truck0 3human1 ");
  EXPECT_EQ(feed(*tracker, 20 * kFrame, {}).removedIds, (std::set<int>{0, 1, 2, 3}));

  const auto merged = [](const std::vector<int>& vanillaIds, const std::vector<int>& reidIds) {
    std::vector<TrackedObjectDetection> vanillaTracks, reidTracks;
    for (const int id : vanillaIds) vanillaTracks.emplace_back().id = id;
    for (const int id : reidIds) reidTracks.emplace_back().id = id;
    std::vector<int> ids;
    for (const auto& track : hybrid::mergeTracks(vanillaTracks, reidTracks)) ids.push_back(track.id);
    return ids;
  };
  EXPECT_EQ(merged({0, 5}, {2, 3}), (std::vector<int>{0, 5, 7, 10}));
  EXPECT_EQ(merged({1}, {1}), (std::vector<int>{2, 3}));
  EXPECT_EQ(merged({(1 << 30) - 1, 1 << 30}, {2147483647}), (std::vector<int>{2147483646, 0, 2147483647}));
}

}  // namespace nivra::test
