#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "support/detections.h"

namespace nivra::test {

using vanilla::ObjectTrack;
using vanilla::TrackerParams;

const Box kBox = boxAt(0, 0);

TEST(VanillaTrack, ReportsWhatItStartedFrom) {
  const TrackerParams params = vanillaParams();
  ObjectDetection detection = detectionOf({-1.3F, 0.5F, 0.2F, -0.25F}, "human", 17);
  detection.classifications = {{"car", 20}, {"human", 60}, {"bus", 60}, {"car", 30}};
  detection.attributes = {{2, 1, 0.5F}, {1, 1, 0.75F}};
  ObjectTrack track(detection, 4, kSecond, params);
  EXPECT_EQ(textOf(track), "4 human 90, state 1, took 17, classes bus 60 human 60 car 30, attributes 2=1 0.5 1=1 0.75");
  EXPECT_EQ(track.createStateString(), "{bottom=-0.250000, left=-1.000000, top=0.500000, right=0.200000}");

  detection.classifications = {};
  ObjectTrack unclassified(detection, 5, kSecond, params);
  unclassified.updateClassInfo(detection);
  EXPECT_EQ(textOf(unclassified), "5 human 90, state 1, took 17, classes, attributes 2=1 0.5 1=1 0.75");
}

TEST(VanillaTrack, IsConfidentAtItsThresholdAndExpiresBelowIt) {
  TrackerParams params = vanillaParams();
  params.confidentLikelihoodThreshold = params.expirationLikelihoodThreshold = 0;
  const ObjectTrack track(detectionOf(kBox), 0, kSecond, params);
  EXPECT_TRUE(track.isConfident() && track.isTentative() && !track.isExpired());
}

TEST(VanillaTrack, GatesLabelsOffsetsAndSizes) {
  const KalmanParams1d generous = {0, 9, 9, 0, {}};  // so that the track's own gates decide
  TrackerParams params = vanillaParams();
  params.kalmanParams = {generous, generous, generous, generous, {}};
  const struct {
    std::tuple<float, float, float, float> limits;  // relative width and height, width and height factor
    Box detection;
    bool passes;
    Box track = boxAt(0, 0, 0.25F, 0.5F);  // exact in binary
  } cases[] = {{{99, 99, 1, 99}, boxAt(0.25F, 0, 0.25F, 0.5F), true},
               {{99, 99, 1, 99}, boxAt(-0.2501F, 0, 0.25F, 0.5F), false},
               {{99, 99, 1, 99}, boxAt(0.25F, 0, 0.125F, 0.5F), false},
               {{99, 99, 99, 0.5F}, boxAt(0, -0.25F, 0.25F, 0.5F), true},
               {{99, 99, 99, 0.5F}, boxAt(0, 0.2501F, 0.25F, 0.5F), false},
               {{99, 99, 99, 0.5F}, boxAt(0, 0.25F, 0.25F, 0.25F), false},
               {{1, 99, 99, 99}, boxAt(0, 0, 0.5F, 0.5F), true},
               {{0.99F, 99, 99, 99}, boxAt(0, 0, 0.5F, 0.5F), false},
               {{0.4F, 99, 99, 99}, boxAt(0, 0, 0.125F, 0.5F), false},
               {{99, 0.5F, 99, 99}, boxAt(0, 0, 0.25F, 0.75F), true},
               {{99, 0.5F, 99, 99}, boxAt(0, 0, 0.25F, 0.8F), false},
               // The filter's gate refuses what is not a number.
               {{99, 99, 99, 99}, {NAN, 0.25F, 0.125F, -0.25F}, false},
               // Half of the track's box lies beyond the border.
               {{0.25F, 99, 1, 99}, {-1, 0.2F, -0.9F, -0.2F}, true, boxAt(-1, 0)},
               {{0.25F, 99, 1, 99}, boxAt(-1, 0), false, boxAt(-1, 0)}};
  for (const auto& c : cases) {
    std::tie(params.widthRelativeDiffGating, params.heightRelativeDiffGating, params.widthFactorGating,
             params.heightFactorGating) = c.limits;
    const ObjectTrack track(detectionOf(c.track), 0, kSecond, params);
    EXPECT_EQ(track.canAssociate(detectionOf(c.detection), kHumansAndCars), c.passes) << &c - cases;
    EXPECT_FALSE(track.canAssociate(detectionOf(c.detection, "car"), kHumansAndCars));
  }
  params = vanillaParams();
  const ObjectTrack track(detectionOf(kBox), 0, kSecond, params);
  EXPECT_FALSE(track.canAssociate(detectionOf(boxAt(0.19F, 0)), kHumansAndCars));  // fails at the filter's gate alone
}

TEST(VanillaTrack, ScalesItsNoiseByObjectnessForKnownLabels) {
  TrackerParams params = vanillaParams({{"vanilla.kalman.objectnessClasses", "human,0.5"}});
  const auto radiusAfter = [&params](const char* trackLabel, const char* detectionLabel, float objectness) {
    ObjectDetection detection = detectionOf(kBox, trackLabel);
    ObjectTrack track(detection, 0, 0, params);
    detection.label = detectionLabel;
    detection.objectness = objectness;
    track.predict(kSecond);
    track.update(detection, kSecond);
    return track.reportDebugTrack().maxPositionDifferenceX;
  };
  const float unchanged = radiusAfter("human", "human", 0);
  EXPECT_NE(radiusAfter("human", "human", 80), unchanged);
  EXPECT_TRUE(radiusAfter("human", "human", -5) == unchanged && radiusAfter("human", "human", NAN) == unchanged);

  // A host may fill the parameters itself, and leave out settings of a label or of an axis.
  params.kalmanParams.objectnessClasses.insert("car");
  EXPECT_EQ(radiusAfter("car", "car", 80), unchanged);
  const KalmanBoxParams complete = params.kalmanParams;
  for (const auto axis :
       {&KalmanBoxParams::xParams, &KalmanBoxParams::yParams, &KalmanBoxParams::wParams, &KalmanBoxParams::hParams}) {
    params.kalmanParams = complete;
    (params.kalmanParams.*axis).objectnessParams.classSigmoids.clear();
    EXPECT_EQ(radiusAfter("human", "human", 80), unchanged);
  }
}

TEST(VanillaTrack, KeepsTheFilterParametersOfItsBirth) {
  TrackerParams params = vanillaParams({{"vanilla.kalman.objectnessClasses", "human,0.5"}});
  const ObjectDetection detection = detectionOf(kBox, "human");
  ObjectTrack track(detection, 0, 0, params);
  for (const auto axis :
       {&KalmanBoxParams::xParams, &KalmanBoxParams::yParams, &KalmanBoxParams::wParams, &KalmanBoxParams::hParams}) {
    (params.kalmanParams.*axis).objectnessParams = {};
  }
  const auto radiusAfterUpdate = [&](ObjectTrack& each) {
    ObjectDetection sure = detection;
    sure.objectness = 80;
    each.predict(kSecond);
    each.update(sure, kSecond);
    return each.reportDebugTrack().maxPositionDifferenceX;
  };
  const float expected = [&] {
    TrackerParams same = vanillaParams({{"vanilla.kalman.objectnessClasses", "human,0.5"}});
    ObjectTrack fresh(detection, 0, 0, same);
    return radiusAfterUpdate(fresh);
  }();
  EXPECT_EQ(radiusAfterUpdate(track), expected);
  static_assert(!std::is_constructible_v<ObjectTrack, ObjectDetection, int, int, TrackerParams>,
                "a temporary record would not outlive the track");
}

TEST(VanillaTracker, ServesConfirmedTracksFirstThenTheBetterDetection) {
  vanilla::VanillaTracker tracker(vanillaParams(), kHumansAndCars);
  std::uint64_t now = 0;
  const auto after = [&](const std::vector<ObjectDetection>& detections) {
    const std::set<int> removed = feed(tracker, now += kFrame, detections).removedIds;
    return briefOf(tracker) + (removed.empty() ? "" : "-" + std::to_string(*removed.begin()));
  };
  const auto at = [](float x, int id, const char* label = "human") { return detectionOf(boxAt(x, 0), label, id); };
  EXPECT_EQ(after({at(-0.5F, 11), at(0, 12, "car"), at(0.5F, 13, "tree")}), "0human11 1car12 2tree13 ");
  // The label "tree" is associated with nothing: its track ends, and another one starts each frame.
  EXPECT_EQ(after({at(0.5F, 23, "tree"), at(0, 22, "car"), at(-0.5F, 21)}), "0human21 1car22 3tree23 -2");

  for (int frame = 0; frame < 60; ++frame) after({at(0, 0)});
  EXPECT_EQ(after({at(0.03F, 1), at(0.01F, 2)}), "4human2+ 5human1 ");
  EXPECT_EQ(after({at(0, 3), at(0.06F, 4)}), "4human3+ 5human4 ");
  // Nearer to the tentative track, but within reach of the confirmed one.
  EXPECT_EQ(after({at(0.05F, 7)}), "4human7+ 5human-1 ");
}

TEST(VanillaTracker, EndsNewTracksAtOnceBelowTheExpirationThreshold) {
  vanilla::VanillaTracker tracker(vanillaParams({{"vanilla.expirationLikelihoodThreshold", "0.5"}}), kHumansAndCars);
  EXPECT_EQ(feed(tracker, kFrame, {detectionOf(boxAt(0, 0))}).removedIds, std::set<int>{0});
}

}  // namespace nivra::test
