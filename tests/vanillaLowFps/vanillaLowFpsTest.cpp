#include <gtest/gtest.h>

#include "support/crowd.h"

namespace nivra::vanillaLowFps {
namespace {

using test::boxAt;
using test::detectionOf;
using test::kFrame;
using test::kSecond;

vanilla::TrackerParams lowFpsParams(ParameterMap params = {}) {
  return parseParameters(params, parseVanillaLowFpsParameters, 1.0F);
}

/// A track that moves at about the given speed.
ObjectTrack movingTrack(float velocityX, float velocityY, const vanilla::TrackerParams& params) {
  ObjectTrack track(detectionOf(boxAt(0, 0, 0.2F, 0.4F), "car"), 0, 0, params);
  for (unsigned long long frame = 1; frame <= 60; ++frame) {
    track.predict(frame * kFrame, false);
    const float t = 0.04F * static_cast<float>(frame);
    track.update(detectionOf(boxAt(velocityX * t, velocityY * t, 0.2F, 0.4F), "car"), frame * kFrame);
  }
  return track;
}

TEST(LowFpsTrack, InflatesTheProcessNoiseOfFastAxes) {
  const vanilla::TrackerParams params = lowFpsParams();
  const struct {
    float velocityX, velocityY;
    std::vector<float> factors;
  } cases[] = {{0.5F, 0.1F, {6, 1, 1, 1}},
               {0.1F, -0.5F, {1, 6, 6, 6}},
               {-0.4F, 0.3F, {6, 6, 6, 6}},
               {0.25F, 0.15F, {1, 1, 1, 1}}};
  for (const auto& c : cases) {
    ObjectTrack inflated = movingTrack(c.velocityX, c.velocityY, params);
    ObjectTrack plain = inflated;
    EXPECT_EQ(inflated.getProcessNoiseFactors(true), c.factors);
    EXPECT_EQ(inflated.getProcessNoiseFactors(false), (std::vector<float>{1, 1, 1, 1}));
    inflated.predict(100 * kFrame, true);
    plain.predict(100 * kFrame, false);
    const auto a = inflated.reportDebugTrack();
    const auto b = plain.reportDebugTrack();
    EXPECT_EQ(a.maxPositionDifferenceX > b.maxPositionDifferenceX, c.factors[0] > 1);
    EXPECT_EQ(a.maxPositionDifferenceY > b.maxPositionDifferenceY, c.factors[1] > 1);
  }
}

TEST(LowFpsTrack, LetsPeopleLieFartherToTheSide) {
  vanilla::TrackerParams params = lowFpsParams();
  params.kalmanParams.xParams.observationNoiseVariance = 9.0F;  // the filter's gate is out of the way
  const ObjectTrack track(detectionOf(boxAt(0, 0, 0.25F, 0.5F), "car"), 0, kSecond, params);
  const LabelAssociations any = {{"car", {"car", "human"}}};
  for (const float widths : {0.99F, 1.5F, 1.69F, 1.71F}) {
    const Box box = boxAt(0.25F * widths, 0, 0.25F, 0.5F);
    EXPECT_EQ(track.canAssociate(detectionOf(box, "human"), any), widths <= 1.7F) << widths;
    EXPECT_EQ(track.canAssociate(detectionOf(box, "car"), any), widths <= 1.0F) << widths;
  }
}

TEST(LowFpsTrack, AddsUpTwoVehicleClasses) {
  const vanilla::TrackerParams params = lowFpsParams();
  const struct {
    std::vector<Classification> classes;
    const char* label;
    float score;
  } cases[] = {
      {{{"truck", 40}, {"car", 30}}, "truck", 50},
      {{{"truck", 70}, {"car", 30}}, "truck", 70},
      {{{"truck", 65}, {"car", 30}}, "truck", 65},
      {{{"truck", 40}, {"human", 35}, {"car", 30}}, "truck", 40},
      {{{"human", 40}, {"car", 30}}, "human", 40},
      {{{"bus", 50}}, "bus", 50},
      {{{"truck", 45}, {"car", 45}, {"bus", 30}}, "car", 60},
      {{}, "start", 90},
  };
  for (const auto& c : cases) {
    ObjectDetection detection = detectionOf(boxAt(0, 0, 0.2F, 0.4F), "start");
    detection.classifications = {};
    ObjectTrack track(detection, 0, 0, params);
    detection.classifications = c.classes;
    for (unsigned long long frame = 1; frame <= 2; ++frame) {  // the bonus doesn't add up over frames
      track.predict(frame * kFrame, true);
      track.update(detection, frame * kFrame);
      EXPECT_EQ(track.getLabel(), c.label);
      EXPECT_FLOAT_EQ(track.reportTrack().score, c.score) << c.label;
    }
    for (const Classification& reported : track.reportTrack().classifications) EXPECT_LE(reported.score, 70.0F);
  }
}

/// Feeds two boxes, `ahead` apart horizontally and moving fast, and returns the gate radius of the first.
float radiusOfFast(const std::string& first, const std::string& second, float ahead, const LabelAssociations& labels) {
  VanillaLowFpsTracker tracker(lowFpsParams({{"vanillaLowFps.expirationLikelihoodThreshold", "-99"}}), labels);
  for (unsigned long long frame = 1; frame <= 100; ++frame) {
    const float x = -0.9F + 0.016F * static_cast<float>(frame);
    std::vector<ObjectDetection> detections = {detectionOf(boxAt(x, 0, 0.2F, 0.4F), first),
                                               detectionOf(boxAt(x + ahead, 0, 0.2F, 0.4F), second)};
    tracker.update(detections, frame * kFrame);
  }
  return tracker.getDebugTracks().at(0).maxPositionDifferenceX;
}

TEST(LowFpsTracker, PredictsPeopleAndOverlappingTracksWithoutVelocityNoise) {
  const LabelAssociations own = {{"car", {"car"}}, {"truck", {"truck"}}, {"human", {"human"}}};
  const float inflated = radiusOfFast("car", "car", 0.5F, own);
  const float plain = radiusOfFast("human", "car", 0.5F, own);
  EXPECT_GT(inflated, plain);
  // Equal boxes shifted by s widths overlap by (1 - s) / (1 + s): 0.4 lies at s = 0.4286.
  EXPECT_NEAR(radiusOfFast("car", "car", 0.2F * 0.41F, own), plain, 1e-6);
  EXPECT_NEAR(radiusOfFast("car", "car", 0.2F * 0.45F, own), inflated, 1e-6);
  EXPECT_NEAR(radiusOfFast("car", "truck", 0.08F, own), inflated, 1e-6);
  // The earlier track's associations alone decide.
  const LabelAssociations carsTakeTrucks = {{"car", {"car", "truck"}}, {"truck", {"truck"}}};
  EXPECT_NEAR(radiusOfFast("car", "truck", 0.08F, carsTakeTrucks), plain, 1e-6);
  EXPECT_NEAR(radiusOfFast("truck", "car", 0.08F, carsTakeTrucks), inflated, 1e-6);
}

TEST(LowFpsTracker, ReportsLabelsWithoutAssociations) {
  VanillaLowFpsTracker tracker(lowFpsParams(), {{"car", {"car"}}});
  std::vector<ObjectDetection> three = {detectionOf(boxAt(-0.5F, 0, 0.2F, 0.4F), "tree"),
                                        detectionOf(boxAt(0, 0, 0.2F, 0.4F), "car"),
                                        detectionOf(boxAt(0.5F, 0, 0.2F, 0.4F), "car")};
  tracker.update(three, kFrame);
  std::vector<ObjectDetection> none;
  testing::internal::CaptureStderr();
  EXPECT_EQ(tracker.update(none, 2 * kFrame).removedIds.size(), 3U);
  const std::string once = "Got class without known associations: tree\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), once + once);
}

// What keeps the twins together: for people no process noise is inflated and no vehicles add up, and with the
// horizontal gate of people for all, both trackers must agree in every bit.
TEST(LowFpsTracker, IsTheVanillaTrackerOnceItsDifferencesAreNeutral) {
  for (const std::string label : {"human", "car"}) {
    test::Crowd crowd(30, 5);
    const vanilla::TrackerParams params = lowFpsParams({{"vanillaLowFps.widthFactorGating", "1.7"}});
    vanilla::VanillaTracker vanillaTracker(params, test::kHumansAndCars);
    VanillaLowFpsTracker lowFpsTracker(params, test::kHumansAndCars);
    int differences = 0;
    for (unsigned long long frame = 1; frame <= 2000; ++frame) {
      auto detections = crowd.nextFrame();
      for (ObjectDetection& detection : detections) detection.label = detection.classifications[0].label = label;
      const auto vanillaResult = vanillaTracker.update(detections, frame * kFrame);
      const auto lowFpsResult = lowFpsTracker.update(detections, frame * kFrame);
      differences +=
          vanillaResult.removedIds != lowFpsResult.removedIds ||
          test::fingerprint(vanillaTracker.getDebugTracks()) != test::fingerprint(lowFpsTracker.getDebugTracks());
    }
    EXPECT_EQ(differences > 0, label == "car");
  }
}

}  // namespace
}  // namespace nivra::vanillaLowFps
