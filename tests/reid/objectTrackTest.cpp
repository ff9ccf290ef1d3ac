#include "nivra/reid/objectTrack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <stdexcept>

#include "support/detections.h"

namespace nivra::test {

using reid::ObjectTrack;
using reid::TrackerParams;

const Box kBox = boxAt(0, 0);

/// The number of a track's state after each event, with a plus while it is confident. An event is a sign and the
/// seconds since the track's first detection: + a detection, - a frame without one, ! a confident identity if the track
/// may have one, ? a comparison for revival.
static std::string livesThrough(const std::string& events) {
  const TrackerParams params = reidParams();
  const ObjectDetection detection = person(kBox, {1, 0});
  ObjectTrack track(detection, 3, 0, params);
  std::istringstream text(events);
  std::string states;
  char event;
  for (double seconds; text >> event >> seconds;) {
    const auto now = static_cast<std::uint64_t>(std::llround(seconds * 1e9));
    if (event == '+' || event == '-') track.predict(now);
    if (event == '+') track.update(detection, now, true);
    if (event == '-') track.emptyUpdate(now);
    if (event == '!' && track.canGetConfidentId(now)) track.makeConfidentId(now);
    if (event == '?') track.registerReviveAttempt();
    states += std::to_string(track.reportDebugTrack().state) + (track.reportTrack().confident ? "+" : "");
  }
  return states;
}

TEST(ReidTrack, LivesByTheTimeSinceItsFirstAndItsLastDetection) {
  const std::pair<const char*, const char*> cases[] = {
      {"-0.3 -0.300000001", "14"},                          // tentative
      {"+0.4 !0.4 +0.400000001", "112+"},                   // becomes confident
      {"+2.0 !2.0 -2.3 -2.300000001", "2+2+2+4"},           // too young for an identity
      {"+2.000000001 !2.000000001", "2+3+"},                // just old enough
      {"+2.000000001 -7.000000001 -7.000000002", "2+2+4"},  // confident, and old enough for an identity
      {"+2.5 !2.500000001", "2+2+"},                        // not seen in this frame
      {"+2.5 !2.5 -3.5 -3.500000001", "2+3+3+0"},           // becomes inactive
      {"+2.5 !2.5 -7.500000001", "2+3+4"},
      {"+2.5 !2.5 -4.5 -22.5 -22.500000001", "2+3+004"},
      {"+2.5 !2.5 -4.5 ?0 ?0 ?0 ?0 -11.5", "2+3+000000"},
      {"+2.5 !2.5 -4.5 ?0 ?0 ?0 ?0 ?0 -7.5 -7.500000001", "2+3+00000004"},
      {"+2.5 !2.5 -4.5 ?0 ?0 ?0 ?0 ?0 +5.0 -7.0 -14.0", "2+3+0000003+00"},  // found and lost again
  };
  for (const auto& [events, states] : cases) EXPECT_EQ(livesThrough(events), states) << events;
}

TEST(ReidTrack, KeepsItsLabel) {
  const TrackerParams params = reidParams({{"reid.scoreAbsorption", "0.5"}});
  ObjectTrack track(detectionOf({-1.3F, 0.5F, 0.25F, -0.25F}, "human", 5), 7, kSecond, params);
  EXPECT_EQ(track.createStateString(), "{bottom=-0.250000, left=-1.000000, top=0.500000, right=0.250000}");
  track.predict(2 * kSecond);
  ObjectDetection other = detectionOf(kBox, "car", 9);
  other.score = 50;
  track.update(other, 2 * kSecond, false);
  EXPECT_EQ(textOf(track), "7 confident human 70, state 2, took 9, classes human 70, attributes");
  EXPECT_THROW(track.observationLikelihood(other), std::logic_error);
}

TEST(ReidTrack, ComparesFeatures) {
  EXPECT_FLOAT_EQ(reid::cosineDistance({1, 0}, {0, 2}), 1);
  EXPECT_FLOAT_EQ(reid::cosineDistance({1, 1}, {-2, -2}), 2);
  EXPECT_NEAR(reid::cosineDistance({3, 4}, {4, 3}), 0.04F, 1e-6);
  EXPECT_FLOAT_EQ(reid::cosineDistance({1e-12F, 0}, {-1e-12F, 0}), 2);  // the product of the norms underflows
  EXPECT_FLOAT_EQ(reid::cosineDistance({1e-12F, 0}, {0, 1e-12F}), 1);
  const std::vector<float> one = {1}, two = {1, 2}, zero = {0, 0}, none;
  for (const auto& [a, b] : {std::pair(none, none), {one, none}, {two, one}, {two, zero}}) {
    EXPECT_TRUE(reid::cosineDistance(a, b) == 2 && reid::cosineDistance(b, a) == 2) << a.size() << b.size();
  }
  const TrackerParams params = reidParams();
  ObjectTrack track(person(kBox, {}), 0, 0, params);
  EXPECT_EQ(track.computeMinDistance({1, 0}), 0.4F);
  for (const auto& feature : std::vector<std::vector<float>>{{0, 0}, {0, 1}, {3, 4}}) track.addFeature(feature);
  EXPECT_FLOAT_EQ(track.computeMinDistance({1, 0}), 0.4F);
  EXPECT_EQ(track.computeMinDistance({1, 0, 0}), 2.0F);
  ObjectTrack full(person(kBox, {1, 0}), 0, 0, params);
  for (int i = 1; i < 50; ++i) full.addFeature({0, 1});
  EXPECT_EQ(full.computeMinDistance({1, 0}), 0.0F);
  full.addFeature({0, 1});  // the 51st
  EXPECT_EQ(full.computeMinDistance({1, 0}), 1.0F);
}

TEST(ReidTrack, TakesAQuantileAsTheDistanceOfTwoGalleries) {
  TrackerParams params = reidParams();
  ObjectTrack a(person(kBox, {}), 0, 0, params), b = a;
  const auto distance = [](const auto& x, const auto& y) { return 19.0F - (x[0] * 5 + y[0]); };
  for (const float x : {2.0F, 0.0F, 3.0F, 1.0F}) a.addFeature({x});
  EXPECT_EQ(a.computeTrackTrackDistance(b, distance), 0.4F);
  EXPECT_EQ(b.computeTrackTrackDistance(a, distance), 0.4F);
  for (const float y : {4.0F, 0.0F, 2.0F, 3.0F, 1.0F}) b.addFeature({y});
  const std::pair<float, float> expected[] = {{0.3F, 5}, {0, 0},  {1, 19},  {0.999F, 18},
                                              {-1, 0},   {2, 19}, {NAN, 0}, {INFINITY, 19}};
  for (const auto& [quantile, value] : expected) {
    params.reviveQuantile = quantile;
    EXPECT_EQ(a.computeTrackTrackDistance(b, distance), value) << quantile;
  }
}

TEST(ReidTrack, GatesByAppearanceIfBothSidesHaveOneElseByOverlap) {
  const TrackerParams params = reidParams();
  const ObjectTrack bare(person(kBox, {}), 0, 0, params);
  const ObjectTrack seen(person(kBox, {1, 0}), 0, 0, params);
  const auto passes = [](const ObjectTrack& track, std::vector<float> feature, float iouDistance, float distance) {
    return track.canAssociateCosts(person(kBox, std::move(feature)), iouDistance, distance);
  };
  EXPECT_TRUE(passes(seen, {1, 0}, 0.9F, 0.4F) && passes(seen, {}, 0.8F, 9) && passes(bare, {1, 0}, 0.8F, 9));
  EXPECT_FALSE(passes(seen, {1, 0}, 0.1F, 0.41F) || passes(seen, {1, 0}, 0, NAN));
  EXPECT_FALSE(passes(seen, {}, 0.81F, 0) || passes(bare, {1, 0}, 0.81F, 0) || passes(bare, {}, NAN, 0));
  EXPECT_FLOAT_EQ(bare.computeIouDistance(boxAt(0.1F, 0)), 1 - 1.0F / 3);
  EXPECT_EQ(bare.computeIouDistance(boxAt(0.2F, 0)), 1.0F);
  EXPECT_EQ(bare.computeIouDistance({NAN, 0, 0, 0}), 1.0F);
  EXPECT_TRUE(bare.canReviveCost(0.225F));
  EXPECT_FALSE(bare.canReviveCost(0.2251F) || bare.canReviveCost(NAN));
}

TEST(ReidTrack, IsRevivedByNoTrackWithoutADetection) {
  const TrackerParams params = reidParams();
  ObjectTrack lost = lostTrack(1, params), young = trackAged(kSecond, 2, params);
  EXPECT_THROW(lost.revive(young, kNow + 2 * kSecond), std::runtime_error);
  EXPECT_FALSE(young.isExpired());
}

}  // namespace nivra::test
