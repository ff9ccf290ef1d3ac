// The re-identification tracker, alone and inside the hybrid tracker.

#include <gtest/gtest.h>

#include <cmath>

#include "support/detections.h"

namespace nivra {
namespace {

using test::boxAt;
using test::kFrame;
using test::kSecond;

const LabelAssociations kLabels = {{"human", {"human"}}, {"truck", {"truck"}}};

ObjectDetection person(float x, std::vector<float> feature = {}, int id = 0) {
  ObjectDetection detection = test::detectionOf(boxAt(x, 0, 0.2F, 0.4F), "human", id);
  if (!feature.empty()) detection.feature = feature;
  return detection;
}

std::vector<ObjectDetection> scene(std::vector<ObjectDetection> detections) { return detections; }

struct Return {
  const char* what;
  std::vector<float> feature;  // of the person who comes back; the one who left had {1, 0}
  bool recognised;
};

// A person is there for 4 s, away for 3 s and back for 4 s; a truck stands by.
TEST(Reidentification, GivesPeopleWhoComeBackTheirOldIdentity) {
  const Return cases[] = {
      {"same", {1, 0}, true}, {"similar", {4, 1}, true}, {"other", {0, 1}, false}, {"unknown", {}, false}};
  for (const int selector : {1, 2}) {
    for (const Return& c : cases) {
      SCOPED_TRACE(std::string(selector == 1 ? "alone, " : "hybrid, ") + c.what);
      const auto outer = [&](int id) { return selector == 1 ? id : 2 * id + 1; };
      const auto tracker = makeTracker(selector, {}, kLabels, 1.5F);
      std::set<std::pair<int, int>> merged;
      std::set<int> removed;
      int during = -1;
      std::vector<int> away;
      for (unsigned long long now = kFrame; now <= 11 * kSecond; now += kFrame) {
        std::vector<ObjectDetection> detections;
        if (selector == 2) detections.push_back(test::detectionOf(boxAt(0.8F, 0.6F, 0.2F, 0.2F), "truck"));
        if (now <= 4 * kSecond) detections.push_back(person(0, {1, 0}));
        if (now > 7 * kSecond) detections.push_back(person(0.05F, c.feature));
        const TrackUpdateResult result = tracker->update(detections, now);
        merged.insert(result.mergedIds.begin(), result.mergedIds.end());
        removed.insert(result.removedIds.begin(), result.removedIds.end());
        for (const auto& track : tracker->getTracks()) {
          if (track.label != "human") continue;
          EXPECT_EQ(removed.count(track.id), 0U);
          if (now <= 4 * kSecond) during = track.id;
          if (now > 5 * kSecond + kFrame && now <= 7 * kSecond) away.push_back(track.id);
        }
      }
      EXPECT_EQ(during, outer(0));
      EXPECT_TRUE(away.empty());
      const auto tracks = tracker->getTracks();
      const auto human =
          std::find_if(tracks.begin(), tracks.end(), [](const auto& track) { return track.label == "human"; });
      ASSERT_NE(human, tracks.end());
      EXPECT_EQ(human->id, c.recognised ? outer(0) : outer(1));
      EXPECT_TRUE(human->confident);
      EXPECT_EQ(merged, c.recognised ? (std::set<std::pair<int, int>>{{outer(1), outer(0)}})
                                     : (std::set<std::pair<int, int>>{}));
      EXPECT_EQ(removed, c.recognised ? std::set<int>{outer(1)} : std::set<int>{});
    }
  }
}

TEST(ReidTracker, StoresNoFeaturesOfOverlappingTracksAndStartsNoneInBetween) {
  ParameterMap none;
  const reid::TrackerParams params = parseReidParameters(none, 1.0F);
  reid::ReidTracker tracker(params, kLabels);
  auto frame = scene({person(-0.15F, {1, 0}, 1), person(0, {1, 1}, 2), person(0.15F, {0, 1}, 3)});
  frame[0].objectness = 90;
  frame[1].objectness = 60;
  frame[2].objectness = 90;
  tracker.update(frame, kFrame);
  EXPECT_TRUE(frame[1].inbetween);
  EXPECT_EQ(test::idsOf(tracker.getTracks()), (std::vector<int>{0, 1}));

  const auto overlapping = [&](float x, const char* label, std::uint64_t updated, std::uint64_t now) {
    ObjectDetection other = person(x);
    other.label = label;
    const std::vector<reid::ObjectTrack> tracks = {{person(0), 4, now, params}, {other, 6, updated, params}};
    return reid::ReidTracker::getOverlappingTracks(tracks, now, params);
  };
  EXPECT_EQ(overlapping(0.19F, "human", 9 * kSecond, 9 * kSecond), (std::set<int>{4, 6}));
  EXPECT_EQ(overlapping(0.2F, "human", 9 * kSecond, 9 * kSecond), (std::set<int>{}));
  EXPECT_EQ(overlapping(0.1F, "truck", 9 * kSecond, 9 * kSecond), (std::set<int>{}));
}

TEST(ReidTracker, LetsGoOfDetectionsWhenTimeStandsStill) {
  // One frame short of a confident identity, the person vanishes while the timestamp is repeated: nobody may
  // use the detection of the frame before, whose memory is gone.
  const auto tracker = makeTracker(1, {{"reid.minTimeBeforeConfidentId", "2000000000"}}, kLabels, 1.0F);
  const auto feed = [&](bool isThere, unsigned long long now) {
    auto detections = std::make_unique<std::vector<ObjectDetection>>();
    if (isThere) detections->push_back(person(0, {1, 0}));
    const auto result = tracker->update(*detections, now);
    return result;
  };
  for (unsigned long long now = kFrame; now <= 4 * kSecond; now += kFrame) feed(true, now);
  for (unsigned long long now = 4 * kSecond + kFrame; now <= 7 * kSecond; now += kFrame) feed(false, now);
  unsigned long long now = 7 * kSecond;
  for (; tracker->getDebugTracks().size() < 2 || now < 9 * kSecond; now += kFrame) feed(true, now + kFrame);
  ASSERT_EQ(tracker->getDebugTracks().at(0).state, 0);
  ASSERT_EQ(tracker->getDebugTracks().at(1).state, 2);
  testing::internal::CaptureStderr();
  EXPECT_TRUE(feed(false, now).mergedIds.empty());
  EXPECT_TRUE(feed(false, now).mergedIds.empty());
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(feed(true, now + kFrame).mergedIds.size(), 1U);
}

TEST(HybridTracker, SplitsByLabelAndMergesByInnerIdentity) {
  const auto tracker = makeTracker(2, {}, kLabels, 1.0F);
  std::vector<ObjectDetection> frame;
  for (const char* label : {"truck", "human", "Human", "human"}) {
    frame.push_back(test::detectionOf(boxAt(-0.8F + 0.4F * static_cast<float>(frame.size()), 0, 0.2F, 0.4F), label,
                                      static_cast<int>(frame.size())));
  }
  tracker->update(frame, kFrame);
  EXPECT_EQ(frame[0].label + frame[1].label, "humanhuman");
  std::string report;
  for (const auto& track : tracker->getDebugTracks()) {
    report += std::to_string(track.track.id) + track.track.label + std::to_string(track.lastDetectionId) + ' ';
  }
  EXPECT_EQ(report, "0Human2 1human3 2truck0 3human1 ");

  const auto identities = [](std::vector<int> ids) {
    std::vector<TrackedObjectDetection> tracks;
    for (const int id : ids) tracks.emplace_back().id = id;
    return tracks;
  };
  EXPECT_EQ(test::idsOf(hybrid::mergeTracks(identities({0, 5}), identities({2, 3}))), (std::vector<int>{0, 5, 7, 10}));
  EXPECT_EQ(test::idsOf(hybrid::mergeTracks(identities({1}), identities({1}))), (std::vector<int>{2, 3}));
  const int largest = 2147483647;
  EXPECT_EQ(test::idsOf(hybrid::mergeTracks(identities({(1 << 30) - 1, 1 << 30}), identities({largest}))),
            (std::vector<int>{2147483646, 0, largest}));
}

TEST(CameraMotionOfAllTrackers, ReachesOneTrackerOfEachKind) {
  MotionTrackerServer server;
  server.setCameraMotionTracker(&server, 0, [](void*, int, Point& point) {
    point.y -= 0.25F;
    return true;
  });
  for (const int selector : {1, 2, 3}) {
    const auto tracker = makeTracker(selector, {}, kLabels, 1.0F);
    auto frame = scene({person(-0.5F), test::detectionOf(boxAt(0.5F, 0, 0.2F, 0.4F), "truck")});
    tracker->update(frame, kFrame);
    server.updateClients();
    for (const auto& track : tracker->getTracks()) EXPECT_FLOAT_EQ(track.box.top, -0.05F) << selector;
  }
}

}  // namespace
}  // namespace nivra
