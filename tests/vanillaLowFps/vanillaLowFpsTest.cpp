#include <gtest/gtest.h>

#include "support/crowd.h"

namespace nivra::test {

using vanillaLowFps::ObjectTrack;
using vanillaLowFps::VanillaLowFpsTracker;

TEST(LowFpsTrack, LetsPeopleLieFartherToTheSide) {
  vanilla::TrackerParams params = lowFpsParams();
  params.kalmanParams.xParams.observationNoiseVariance = 9.0F;  // the filter's gate is out of the way
  const ObjectTrack track(detectionOf(boxAt(0, 0), "car"), 0, kSecond, params);
  const LabelAssociations any = {{"car", {"car", "human"}}};
  for (const float widths : {0.99F, 1.01F, 1.69F, 1.71F}) {
    const Box box = boxAt(0.2F * widths, 0);
    EXPECT_EQ(track.canAssociate(detectionOf(box, "human"), any), widths <= 1.7F) << widths;
    EXPECT_EQ(track.canAssociate(detectionOf(box, "car"), any), widths <= 1.0F) << widths;
  }
}

TEST(LowFpsTrack, AddsUpTwoVehicleClasses) {
  const vanilla::TrackerParams params = lowFpsParams();
  const std::pair<std::vector<Classification>, const char*> cases[] = {
      {{{"truck", 40}, {"car", 30}}, "truck 50"},
      {{{"truck", 65}, {"bus", 30}}, "truck 65"},
      {{{"truck", 64}, {"bus", 30}}, "truck 74"},
      {{{"truck", 40}, {"human", 35}, {"car", 30}}, "truck 40"},
      {{{"truck", 40}, {"bus", 36}, {"car", 30}}, "truck 52"},
      {{{"truck", 40}, {"car", 30}, {"human", 30}}, "truck 50"},
      {{{"human", 40}, {"car", 30}}, "human 40"},
      {{{"truck", 45}, {"car", 45}, {"bus", 30}}, "car 60"},
      {{{"bus", 50}}, "bus 50"},
      {{}, "start 90"}};
  for (const auto& [classes, expected] : cases) {
    ObjectDetection detection = detectionOf(boxAt(0, 0), "start");
    detection.classifications = {};
    ObjectTrack track(detection, 0, 0, params);
    detection.classifications = classes;
    for (std::uint64_t frame = 1; frame <= 2; ++frame) {  // the bonus doesn't add up over frames
      track.predict(frame * kFrame, true);
      track.update(detection, frame * kFrame);
      EXPECT_EQ(textOf(track).find(std::string("0 ") + expected + ", state"), 0U) << expected;
    }
  }
}

/// Feeds two boxes, `ahead` widths apart horizontally and moving fast, and returns the gate radius of the first.
static float radiusOfFast(const char* first, const char* second, float ahead, const LabelAssociations& labels) {
  VanillaLowFpsTracker tracker(lowFpsParams({{"vanillaLowFps.expirationLikelihoodThreshold", "-99"}}), labels);
  for (std::uint64_t frame = 1; frame <= 100; ++frame) {
    const float x = -0.9F + 0.016F * static_cast<float>(frame);
    feed(tracker, frame * kFrame, {detectionOf(boxAt(x, 0), first), detectionOf(boxAt(x + 0.2F * ahead, 0), second)});
  }
  return tracker.getDebugTracks().at(0).maxPositionDifferenceX;
}

TEST(LowFpsTracker, PredictsPeopleAndOverlappingTracksWithoutVelocityNoise) {
  const LabelAssociations own = {{"car", {"car"}}, {"truck", {"truck"}}, {"human", {"human"}}};
  const LabelAssociations carsTakeTrucks = {{"car", {"car", "truck"}}, {"truck", {"truck"}}};
  const float inflated = radiusOfFast("car", "car", 2.5F, own);
  const float plain = radiusOfFast("human", "car", 2.5F, own);
  EXPECT_GT(inflated, plain);
  // Equal boxes shifted by s widths overlap by (1 - s) / (1 + s): 0.4 lies at s = 0.4286.
  EXPECT_NEAR(radiusOfFast("car", "car", 0.42F, own), plain, 1e-6);
  EXPECT_NEAR(radiusOfFast("car", "car", 0.44F, own), inflated, 1e-6);
  EXPECT_NEAR(radiusOfFast("car", "truck", 0.4F, own), inflated, 1e-6);
  // The earlier track's associations alone decide.
  EXPECT_NEAR(radiusOfFast("car", "truck", 0.4F, carsTakeTrucks), plain, 1e-6);
  EXPECT_NEAR(radiusOfFast("truck", "car", 0.4F, carsTakeTrucks), inflated, 1e-6);

  // Judged by the predictions, so tracks that start in a frame don't count in it.
  VanillaLowFpsTracker tracker(lowFpsParams(), own);
  const std::vector<ObjectDetection> pair(2, detectionOf(boxAt(0, 0), "car"));
  feed(tracker, kFrame, pair);
  EXPECT_TRUE(tracker.getOverlappingTrackIds().empty());
  feed(tracker, 2 * kFrame, pair);
  EXPECT_EQ(tracker.getOverlappingTrackIds(), (std::set<int>{0, 1}));
}

TEST(LowFpsTracker, ReportsLabelsWithoutAssociations) {
  VanillaLowFpsTracker tracker(lowFpsParams(), {{"car", {"car"}}});
  const auto at = [](float x, const char* label) { return detectionOf(boxAt(x, 0), label); };
  feed(tracker, kFrame, {at(-0.5F, "tree"), at(0, "car"), at(0.5F, "car")});
  testing::internal::CaptureStderr();
  feed(tracker, 2 * kFrame, {});
  const std::string once = "Got class without known associations: tree\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), once + once);
}

// What keeps the twins together: for people no process noise is inflated and no vehicles add up, and with the
// horizontal gate of people for all, both trackers must agree in every bit.
TEST(LowFpsTracker, IsTheVanillaTrackerOnceItsDifferencesAreNeutral) {
  for (const std::string label : {"human", "car"}) {
    Crowd crowd(30, 5);
    const vanilla::TrackerParams params = lowFpsParams({{"vanillaLowFps.widthFactorGating", "1.7"}});
    vanilla::VanillaTracker vanillaTracker(params, kHumansAndCars);
    VanillaLowFpsTracker lowFpsTracker(params, kHumansAndCars);
    bool differs = false;
    for (std::uint64_t frame = 1; frame <= 2000 && !differs; ++frame) {
      auto detections = crowd.nextFrame();
      for (ObjectDetection& detection : detections) detection.label = detection.classifications[0].label = label;
      const auto removed = vanillaTracker.update(detections, frame * kFrame).removedIds;
      differs = lowFpsTracker.update(detections, frame * kFrame).removedIds != removed ||
                fingerprint(vanillaTracker.getDebugTracks()) != fingerprint(lowFpsTracker.getDebugTracks());
    }
    EXPECT_EQ(differs, label == "car");
  }
}

}  // namespace nivra::test
