// What all trackers have in common.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <future>
#include <limits>
#include <set>
#include <sstream>

#include "support/crowd.h"

namespace nivra::test {

TEST(MakeTracker, ChoosesTheVariantBySelector) {
  EXPECT_NE(dynamic_cast<vanilla::VanillaTracker*>(makeTracker(0, {}, {}, 1.0F).get()), nullptr);
  EXPECT_NE(dynamic_cast<reid::ReidTracker*>(makeTracker(1, {}, {}, 1.0F).get()), nullptr);
  EXPECT_NE(dynamic_cast<hybrid::HybridTracker*>(makeTracker(2, {}, {}, 1.0F).get()), nullptr);
  EXPECT_NE(dynamic_cast<vanillaLowFps::VanillaLowFpsTracker*>(makeTracker(3, {}, {}, 1.0F).get()), nullptr);
  for (const int selector : {-1, 4}) EXPECT_EQ(makeTracker(selector, {{"no such key", "x"}}, {}, 1.0F), nullptr);
}

TEST(TrackerLogger, StampsLinesWithTheFrameOfTheTrackerUpdatedLast) {
  TrackerLogger* logger = TrackerLogger::getDefaultLogger();
  testing::internal::CaptureStdout();
  logger->setTimestamp(0);
  logger->log("x");
  for (int selector = 0; selector < 4; ++selector) {
    feed(*makeTracker(selector, {}, {}, 1.0F), 18446744073709551612ULL + static_cast<std::uint64_t>(selector), {});
    logger->logTrack(7, "n=%d", selector);
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ts:0: x\nts:18446744073709551612, track 7: n=0\nts:18446744073709551613, track 7: n=1\n"
            "ts:18446744073709551614, track 7: n=2\nts:18446744073709551615, track 7: n=3\n");
}

/// What a tracker reports about the crowd of the given seed.
static std::string run(ObjectTracker& tracker, std::uint32_t seed) {
  Crowd crowd(20, seed);
  std::string reports;
  for (std::uint64_t frame = 1; frame <= 150; ++frame) {
    feed(tracker, frame * kFrame, crowd.nextFrame());
    reports += fingerprint(tracker.getDebugTracks());
  }
  return reports;
}

// Meant for the thread sanitizer; without it, it still shows that trackers share no state and that the same input
// gives the same bytes.
TEST(Threads, EightTrackersOnEightThreadsDontInterfere) {
  constexpr std::uint32_t kThreads = 8;
  MotionTrackerServer server;
  const auto make = [](std::uint32_t i) { return makeTracker(static_cast<int>(i % 4), {}, kHumansAndCars, 1.0F); };
  std::vector<std::unique_ptr<ObjectTracker>> trackers;
  for (std::uint32_t i = 0; i < kThreads; ++i) trackers.push_back(make(i));
  std::vector<std::future<std::string>> reports;
  for (std::uint32_t i = 0; i < kThreads; ++i) {
    reports.push_back(std::async(std::launch::async, [&trackers, i] { return run(*trackers[i], i); }));
  }
  for (std::uint32_t i = 0; i < kThreads; ++i) EXPECT_EQ(reports[i].get(), run(*make(i), i)) << "thread " << i;
}

static float topOf(const ObjectTracker& tracker) { return tracker.getTracks().at(0).box.top; }

// Every camera has a thread, and on it a server and trackers of its own.
TEST(Threads, CamerasMoveOnlyTheirOwnTracks) {
  const auto runCamera = [](float step) {
    for (int round = 0; round < 200; ++round) {
      MotionTrackerServer server;
      server.setCameraMotionTracker(&step, 0, [](void* distance, int, Point& point) {
        point.y += *static_cast<float*>(distance);
        return true;
      });
      const auto tracker = makeTracker(round % 4, {}, kHumansAndCars, 1.0F, &server);
      feed(*tracker, kFrame, {detectionOf(boxAt(0, 0))});
      const float before = topOf(*tracker);
      server.updateClients();
      if (std::abs(topOf(*tracker) - before - step) > 1e-6F) return round;
    }
    return -1;
  };
  auto up = std::async(std::launch::async, runCamera, 0.25F);
  auto down = std::async(std::launch::async, runCamera, -0.5F);
  EXPECT_EQ(up.get(), -1);
  EXPECT_EQ(down.get(), -1);
}

TEST(Threads, LogWholeLines) {
  testing::internal::CaptureStdout();
  const auto writeLines = [](int thread) {
    for (int i = 0; i < 5000; ++i) {
      TrackerLogger::getDefaultLogger()->setTimestamp(1);
      TrackerLogger::getDefaultLogger()->logTrack(thread, "%s%%", "all");
    }
  };
  auto other = std::async(std::launch::async, writeLines, 0);
  writeLines(1);
  other.get();
  std::istringstream lines(testing::internal::GetCapturedStdout());
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    ASSERT_TRUE(line == "ts:1, track 0: all%" || line == "ts:1, track 1: all%") << line;
  }
  EXPECT_EQ(count, 10'000);
}

class Trackers : public testing::TestWithParam<int> {
 protected:
  MotionTrackerServer server;
  std::unique_ptr<ObjectTracker> tracker = makeTracker(GetParam(), {}, kHumansAndCars, 1.5F);
};

TEST_P(Trackers, StartAndAgeTracks) {
  EXPECT_TRUE(feed(*tracker, kFrame, {}).removedIds.empty());
  feed(*tracker, 2 * kFrame,
       {detectionOf(boxAt(-0.5F, 0), "human", 7), detectionOf({-1.3F, 0.5F, -0.7F, -2.0F}, "human", 8)});
  EXPECT_EQ(briefOf(*tracker), GetParam() == 2 ? "1human7 3human8 " : "0human7 1human8 ");
  const auto tracks = tracker->getTracks();
  EXPECT_TRUE(tracks.at(1).box.left == -1.0F && tracks.at(1).box.bottom == -1.0F);
  std::set<int> removed;
  for (std::uint64_t frame = 3; frame < 40; ++frame) removed.merge(feed(*tracker, frame * kFrame, {}).removedIds);
  EXPECT_EQ(removed, (std::set<int>{tracks[0].id, tracks[1].id}));
  EXPECT_EQ(briefOf(*tracker), "");
}

TEST_P(Trackers, FollowObjectsAndStandTimesOutOfOrder) {
  const auto at = [](std::uint64_t frame, int id) {
    const auto t = static_cast<float>(frame) * 0.04F;
    return detectionOf(boxAt(0.2F * t, -0.1F * t), "human", id);
  };
  for (std::uint64_t frame = 1; frame < 40; ++frame) {
    feed(*tracker, frame * kFrame, frame == 30 ? std::vector<ObjectDetection>() : std::vector{at(frame, 1)});
  }
  const std::string identity = GetParam() == 2 ? "1" : "0";
  EXPECT_EQ(briefOf(*tracker), identity + "human1+ ");
  EXPECT_NEAR(tracker->getTracks()[0].velocityX, 0.2F, 0.02F);
  EXPECT_NEAR(tracker->getTracks()[0].velocityY, -0.1F, 0.02F);

  const std::string fault = "The prediction timestamp should be newer than the last prediction\n";
  testing::internal::CaptureStderr();
  feed(*tracker, 39 * kFrame, {at(39, 2)});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), fault);
  EXPECT_EQ(briefOf(*tracker), identity + "human2+ ");

  const std::string before = fingerprint(tracker->getDebugTracks());
  testing::internal::CaptureStderr();
  feed(*tracker, 38 * kFrame, {at(38, 3), detectionOf(boxAt(-0.7F, 0), "human", 4)});
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            fault + "The detection does not have the same timestamp as the latest prediction\n");
  EXPECT_EQ(fingerprint({tracker->getDebugTracks().at(0)}), before);
  EXPECT_EQ(tracker->getDebugTracks().at(1).lastDetectionId, 4);
}

TEST_P(Trackers, FollowTheCamera) {
  server.setCameraMotionTracker(&server, 0, [](void*, int, Point& point) {
    point.y -= 0.25F;
    return true;
  });
  feed(*tracker, kFrame, {detectionOf(boxAt(-0.5F, 0)), detectionOf(boxAt(0.5F, 0), "car")});
  server.updateClients();
  ASSERT_EQ(tracker->getTracks().size(), 2U);
  for (const auto& track : tracker->getTracks()) EXPECT_FLOAT_EQ(track.box.top, -0.05F);
}

TEST_P(Trackers, FollowTheServerThatTheyAreHanded) {
  const auto lower = [](void*, int, Point& point) {
    point.y -= 0.25F;
    return true;
  };
  MotionTrackerServer own, newest;
  const auto moving = makeTracker(GetParam(), {}, kHumansAndCars, 1.5F, &own);
  const auto still = makeTracker(GetParam(), {}, kHumansAndCars, 1.5F, nullptr);
  for (MotionTrackerServer* each : {&own, &newest}) each->setCameraMotionTracker(each, 0, lower);
  for (ObjectTracker* each : {moving.get(), still.get()}) {
    feed(*each, kFrame, {detectionOf(boxAt(0, 0)), detectionOf(boxAt(0.5F, 0), "car")});
  }
  newest.updateClients();
  for (const auto& track : moving->getTracks()) EXPECT_FLOAT_EQ(track.box.top, 0.2F);
  own.updateClients();
  for (const auto& track : moving->getTracks()) EXPECT_FLOAT_EQ(track.box.top, -0.05F);
  for (const auto& track : still->getTracks()) EXPECT_FLOAT_EQ(track.box.top, 0.2F);
}

static std::string fingerprint(const std::vector<TrackReport>& reports) {
  std::vector<internal::DebugTrack> debugTracks;
  for (const TrackReport& report : reports) debugTracks.push_back({report.track, 0, 0, 0, report.detectionId});
  return fingerprint(debugTracks);
}

TEST_P(Trackers, ReportTheSameIntoMemoryOfTheCaller) {
  Crowd crowd(40, 8);
  std::vector<TrackReport> reports, expectedReports;
  std::vector<internal::DebugTrack> debugTracks;
  std::size_t taken = 0;
  for (std::uint64_t frame = 1; frame <= 120; ++frame) {
    feed(*tracker, frame * kFrame, frame % 50 < 5 ? std::vector<ObjectDetection>() : crowd.nextFrame());
    tracker->getTracks(reports);
    tracker->getDebugTracks(debugTracks);
    tracker->ObjectTracker::getTracks(expectedReports);  // which asks for both reports by value
    ASSERT_EQ(fingerprint(reports), fingerprint(expectedReports)) << frame;
    ASSERT_EQ(fingerprint(debugTracks), fingerprint(tracker->getDebugTracks())) << frame;
    for (const TrackReport& each : reports) taken += each.detectionId >= 0 ? 1U : 0U;
  }
  EXPECT_GT(taken, 3000U);
}

// Ten thousand frames of a crowd, among which detections of arbitrary bits turn up.
TEST_P(Trackers, SurviveArbitraryFloatsWithBoundedMemory) {
  constexpr std::uint32_t kSeed = 20261122;
  Crowd crowd(6, kSeed);
  std::mt19937 random(kSeed);
  const auto anyFloat = [&random] {
    const auto bits = static_cast<std::uint32_t>(random());
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return random() % 8 == 0 ? std::numeric_limits<float>::quiet_NaN() : value;
  };
  std::set<int> ended;
  for (std::uint64_t frame = 1; frame <= 10'000; ++frame) {
    auto detections = crowd.nextFrame();
    ObjectDetection wild = detectionOf({anyFloat(), anyFloat(), anyFloat(), anyFloat()});
    wild.score = anyFloat();
    wild.objectness = anyFloat();
    wild.classifications[0].score = anyFloat();
    wild.attributes = {{1, 1, anyFloat()}, {1, 2, anyFloat()}};
    wild.feature = std::vector<float>(random() % 4, anyFloat());
    detections.push_back(wild);
    detections[0].feature = wild.feature;
    for (const int id : tracker->update(detections, frame * kFrame).removedIds) {
      ASSERT_TRUE(ended.insert(id).second) << "identity " << id << " ended twice";
    }
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

INSTANTIATE_TEST_SUITE_P(All, Trackers, testing::Range(0, 4));

}  // namespace nivra::test
