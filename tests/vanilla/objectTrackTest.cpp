#include "nivra/vanilla/objectTrack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/detections.h"

namespace nivra::vanilla {
namespace {

using test::boxAt;
using test::detectionOf;
using test::kSecond;

constexpr char kPredictionFault[] = "The prediction timestamp should be newer than the last prediction\n";
constexpr char kDetectionFault[] = "The detection does not have the same timestamp as the latest prediction\n";

const Box kBox = boxAt(0.0F, 0.0F, 0.2F, 0.4F);

std::string fingerprint(const ObjectTrack& track) { return test::fingerprint({track.reportDebugTrack()}); }

/// Whether a track of the given parameters may take the detection; every label is associated with "human".
bool canAssociate(const ObjectDetection& detection, const ParameterMap& params, const Box& trackBox = kBox) {
  const TrackerParams parsed = test::vanillaParams(params);
  const ObjectTrack track(detectionOf(trackBox), 0, kSecond, parsed);
  return track.canAssociate(detection, {{"human", {"human", "car"}}});
}

TEST(VanillaTrack, ReportsItsFirstDetection) {
  const TrackerParams params = test::vanillaParams();
  ObjectDetection detection = detectionOf({-1.3F, 0.5F, 0.2F, -0.25F}, "human", 17);
  detection.score = 55.0F;
  detection.classifications = {{"car", 20.0F}, {"human", 60.0F}, {"bus", 60.0F}, {"car", 30.0F}};
  detection.attributes = {{2, 1, 0.5F}, {1, 1, 0.9F}};
  const ObjectTrack track(detection, 4, kSecond, params);
  const internal::DebugTrack debug = track.reportDebugTrack();
  EXPECT_EQ(debug.track.id, 4);
  EXPECT_EQ(debug.track.label, "human");
  EXPECT_EQ(debug.track.score, 55.0F);
  EXPECT_FALSE(debug.track.confident);
  EXPECT_EQ(debug.state, 1);
  EXPECT_EQ(debug.lastDetectionId, 17);
  EXPECT_GT(debug.maxPositionDifferenceX, 0.0F);
  EXPECT_FLOAT_EQ(debug.track.box.left, -1.0F);
  EXPECT_FLOAT_EQ(debug.track.box.right, 0.2F);
  EXPECT_EQ(debug.track.attributes.at(0).attributeType, 2);
  std::string order;
  for (const auto& c : debug.track.classifications) order += c.label + " " + std::to_string(c.score) + " ";
  EXPECT_EQ(order, "bus 60.000000 human 60.000000 car 30.000000 ");
  EXPECT_EQ(track.createStateString(), "{bottom=-0.250000, left=-1.000000, top=0.500000, right=0.200000}");
}

TEST(VanillaTrack, RefusesTimesOutOfOrderAndStaysAsItIs) {
  const TrackerParams params = test::vanillaParams();
  ObjectTrack track(detectionOf(kBox, "human", 3), 0, kSecond, params);
  const std::string before = fingerprint(track);
  testing::internal::CaptureStderr();
  track.predict(kSecond);
  track.predict(kSecond - 1);
  track.update(detectionOf(boxAt(0.05F, 0.0F, 0.2F, 0.4F)), kSecond + 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(kPredictionFault) + kPredictionFault + kDetectionFault);
  EXPECT_EQ(fingerprint(track), before);

  track.predict(2 * kSecond);
  EXPECT_EQ(track.reportDebugTrack().lastDetectionId, -1);
}

TEST(VanillaTrack, SmoothsItsLogLikelihoodTowardsTheLatestAtARateOf22PerSecond) {
  // The thresholds show where the smoothed value lies.
  const struct {
    unsigned long long interval;  // ns
    float expected;               // after one step from 0 towards 10
  } cases[] = {{0, 0.0F}, {100'000'000, 2.2F}, {454'545'440, 10.0F}, {909'090'880, 20.0F}};
  for (const auto& c : cases) {
    for (const float margin : {-0.01F, 0.01F}) {
      TrackerParams params = test::vanillaParams();
      params.confidentLikelihoodThreshold = params.expirationLikelihoodThreshold = c.expected + margin;
      ObjectTrack track(detectionOf(kBox), 0, kSecond, params);
      if (c.interval > 0) track.predict(kSecond + c.interval);
      track.updateSmoothedObservationLogLikelihood(10.0F);
      EXPECT_EQ(track.isConfident(), margin < 0) << c.interval;
      EXPECT_EQ(track.isExpired(), margin > 0) << c.interval;
    }
  }
}

TEST(VanillaTrack, MissedFramesFadeItsScoresAndEndIt) {
  const TrackerParams params = test::vanillaParams();
  ObjectDetection detection = detectionOf(kBox);
  detection.classifications = {{"human", 80.0F}, {"car", 50.0F}};
  detection.attributes = {{1, 1, 0.5F}};
  ObjectTrack track(detection, 0, kSecond, params);
  EXPECT_FALSE(track.isExpired());
  track.predict(kSecond + test::kFrame);
  track.emptyUpdate();
  const TrackedObjectDetection report = track.reportTrack();
  EXPECT_FLOAT_EQ(report.score, 90.0F * 0.94F);
  EXPECT_FLOAT_EQ(report.classifications.at(0).score, 80.0F * 0.94F);
  EXPECT_FLOAT_EQ(report.classifications.at(1).score, 50.0F * 0.94F);
  EXPECT_FLOAT_EQ(report.attributes.at(0).score, 0.5F * 0.94F);
  EXPECT_TRUE(track.isExpired());
}

TEST(VanillaTrack, IsTentativeUntilItWasConfidentOnce) {
  const TrackerParams params = test::vanillaParams();
  ObjectTrack track(detectionOf(kBox), 0, kSecond, params);
  unsigned long long now = kSecond;
  int updates = 0;
  for (; track.isTentative() && updates < 50; ++updates) {
    EXPECT_EQ(track.reportDebugTrack().state, 1);
    track.predict(now += test::kFrame);
    track.update(detectionOf(kBox, "human", updates), now);
  }
  EXPECT_GT(updates, 3);
  EXPECT_LT(updates, 50);
  EXPECT_EQ(track.reportDebugTrack().state, 2);
  EXPECT_EQ(track.reportDebugTrack().lastDetectionId, updates - 1);
  while (track.isConfident()) {
    track.predict(now += test::kFrame);
    track.emptyUpdate();
  }
  EXPECT_FALSE(track.isTentative());
  EXPECT_FALSE(track.isExpired());
  EXPECT_EQ(track.reportDebugTrack().state, 1);
}

TEST(VanillaTrack, ChoosesTheBestSmoothedLabel) {
  TrackerParams params = test::vanillaParams();
  params.scoreAbsorption = 0.5F;
  ObjectDetection detection = detectionOf(kBox, "human");
  detection.classifications = {};
  ObjectTrack track(detection, 0, kSecond, params);

  track.updateClassInfo(detection);  // nothing to choose from
  EXPECT_EQ(track.reportTrack().label, "human");
  EXPECT_EQ(track.reportTrack().score, 90.0F);

  detection.classifications = {{"truck", 40.0F}, {"car", 40.0F}};
  track.updateClassInfo(detection);
  EXPECT_EQ(track.reportTrack().label, "car");
  detection.classifications = {{"truck", 60.0F}};
  track.updateClassInfo(detection);
  EXPECT_EQ(track.reportTrack().label, "truck");
  EXPECT_FLOAT_EQ(track.reportTrack().score, 50.0F);
  EXPECT_EQ(track.reportTrack().classifications.size(), 2U);
}

TEST(VanillaTrack, TakesOnlyAssociatedLabels) {
  const TrackerParams params = test::vanillaParams();
  const ObjectTrack track(detectionOf(kBox, "car"), 0, kSecond, params);
  const struct {
    LabelAssociations associations;
    const char* label;
    bool admitted;
  } cases[] = {
      {{}, "car", false},
      {{{"human", {"car"}}}, "car", false},
      {{{"car", {"truck"}}}, "car", false},
      {{{"car", {"truck"}}}, "truck", true},
      {{{"car", {"car"}}}, "Car", false},
  };
  for (const auto& c : cases) EXPECT_EQ(track.canAssociate(detectionOf(kBox, c.label), c.associations), c.admitted);
}

TEST(VanillaTrack, GatesOffsetsAndSizes) {
  // A generous filter, so that the track's own gates decide. The boxes are exact in binary.
  const ParameterMap wide = {{"vanilla.kalman.observationNoiseVarianceX", "9"},
                             {"vanilla.kalman.observationNoiseVarianceY", "9"},
                             {"vanilla.kalman.observationNoiseVarianceW", "9"},
                             {"vanilla.kalman.observationNoiseVarianceH", "9"}};
  const auto with = [&](const char* name, const char* value) {
    ParameterMap params = wide;
    for (const char* gate :
         {"widthRelativeDiffGating", "heightRelativeDiffGating", "widthFactorGating", "heightFactorGating"}) {
      params[std::string("vanilla.") + gate] = gate == std::string(name) ? value : "99";
    }
    return params;
  };
  const Box box = boxAt(0.0F, 0.0F, 0.25F, 0.5F);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    const char* gate;
    const char* limit;
    Box detection;
    bool passes;
  } cases[] = {
      {"widthFactorGating", "1", boxAt(0.25F, 0.0F, 0.25F, 0.5F), true},  // exactly one width
      {"widthFactorGating", "1", boxAt(-0.2501F, 0.0F, 0.25F, 0.5F), false},
      {"widthFactorGating", "1", boxAt(0.25F, 0.0F, 0.125F, 0.5F), false},  // two of the smaller width
      {"heightFactorGating", "0.5", boxAt(0.0F, -0.25F, 0.25F, 0.5F), true},
      {"heightFactorGating", "0.5", boxAt(0.0F, 0.2501F, 0.25F, 0.5F), false},
      {"widthRelativeDiffGating", "1", boxAt(0.0F, 0.0F, 0.5F, 0.5F), true},  // twice as wide
      {"widthRelativeDiffGating", "0.5", boxAt(0.0F, 0.0F, 0.5F, 0.5F), false},
      {"widthRelativeDiffGating", "0.4", boxAt(0.0F, 0.0F, 0.125F, 0.5F), false},
      {"heightRelativeDiffGating", "0.5", boxAt(0.0F, 0.0F, 0.25F, 0.75F), true},
      {"heightRelativeDiffGating", "0.5", boxAt(0.0F, 0.0F, 0.25F, 0.8F), false},
      {"widthFactorGating", "1", {nan, 0.25F, 0.125F, -0.25F}, false},  // the filter's gate refuses it
  };
  for (const auto& c : cases) {
    EXPECT_EQ(canAssociate(detectionOf(c.detection), with(c.gate, c.limit), box), c.passes)
        << c.gate << " " << c.limit << " left " << c.detection.left;
  }
  EXPECT_FALSE(canAssociate(detectionOf(boxAt(0.19F, 0.0F, 0.2F, 0.4F)), {}));  // passes all but the filter's gate
}

TEST(VanillaTrack, GatesAgainstTheClampedBox) {
  // Half of the track's box lies beyond the border: 0.1 of its 0.2 remains, centred at -0.95.
  const ParameterMap params = {{"vanilla.widthRelativeDiffGating", "0.25"}};
  const Box half = {-1.1F, 0.2F, -0.9F, -0.2F};
  EXPECT_TRUE(canAssociate(detectionOf({-1.0F, 0.2F, -0.9F, -0.2F}), params, half));
  EXPECT_FALSE(canAssociate(detectionOf(half), params, half));
}

TEST(VanillaTrack, ScalesItsNoiseByObjectnessForKnownLabels) {
  const TrackerParams params =
      test::vanillaParams({{"vanilla.kalman.objectnessClasses", "human,0.5"}, {"vanilla.scoreAbsorption", "1"}});
  const auto radiusAfter = [&](const char* trackLabel, const char* detectionLabel, float objectness) {
    ObjectTrack track(detectionOf(kBox, trackLabel), 0, kSecond, params);
    ObjectDetection detection = detectionOf(kBox, detectionLabel);
    detection.objectness = objectness;
    track.updateObjectnessScaling(detection);
    return track.reportDebugTrack().maxPositionDifferenceX;
  };
  const float unchanged = radiusAfter("human", "human", 0.0F);
  EXPECT_LT(radiusAfter("human", "human", 99.0F), unchanged);
  EXPECT_GT(radiusAfter("human", "human", 1.0F), unchanged);
  EXPECT_EQ(radiusAfter("human", "human", -5.0F), unchanged);
  EXPECT_EQ(radiusAfter("human", "human", std::nanf("")), unchanged);
  EXPECT_EQ(radiusAfter("car", "human", 99.0F), unchanged);
  EXPECT_EQ(radiusAfter("human", "car", 99.0F), unchanged);

  ObjectDetection doubtful = detectionOf(kBox);
  doubtful.objectness = 1.0F;
  EXPECT_GT(ObjectTrack(doubtful, 0, kSecond, params).reportDebugTrack().maxPositionDifferenceX, unchanged);
}

}  // namespace
}  // namespace nivra::vanilla
