#include "nivra/reid/objectTrack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "support/detections.h"

namespace nivra::reid {
namespace {

using test::boxAt;
using test::kSecond;

const Box kBox = boxAt(0, 0, 0.2F, 0.4F);

TrackerParams reidParams(ParameterMap params = {}) { return parseParameters(params, parseReidParameters, 1.0F); }

ObjectDetection person(std::vector<float> feature, const Box& box = kBox) {
  ObjectDetection detection = test::detectionOf(box, "human", 5);
  if (!feature.empty()) detection.feature = feature;
  return detection;
}

TrackState stateOf(const ObjectTrack& track) { return track.getState(); }

/// Updates a track that was created at 0 in steps, up to and including `until`.
void follow(ObjectTrack& track, std::uint64_t until, const ObjectDetection& detection) {
  for (std::uint64_t now = until % (kSecond / 10); now <= until; now += kSecond / 10) {
    if (now == 0) continue;
    track.predict(now);
    track.update(detection, now, true);
  }
}

void miss(ObjectTrack& track, std::uint64_t now) {
  track.predict(now);
  track.emptyUpdate(now);
}

TEST(ReidTrack, WalksThroughItsLifeByTime) {
  const TrackerParams params = reidParams();
  const ObjectDetection detection = person({1, 0});
  ObjectTrack track(detection, 3, 0, params);
  follow(track, 400'000'000, detection);
  EXPECT_EQ(stateOf(track), TrackState::Tentative);
  EXPECT_FALSE(track.reportTrack().confident);
  track.predict(400'000'001);
  track.update(detection, 400'000'001, true);
  EXPECT_EQ(stateOf(track), TrackState::Confident);
  EXPECT_TRUE(track.reportTrack().confident);
  EXPECT_EQ(track.getConfidentTrackExpiryAge(), 300'000'000U);

  follow(track, 2'000'000'000, detection);
  EXPECT_FALSE(track.canGetConfidentId(2'000'000'000));
  EXPECT_THROW(track.makeConfidentId(2'000'000'000), std::runtime_error);
  track.predict(2'000'000'001);
  track.update(detection, 2'000'000'001, true);
  EXPECT_EQ(track.getConfidentTrackExpiryAge(), 5'000'000'000U);
  EXPECT_FALSE(track.canGetConfidentId(2'000'000'002));
  track.makeConfidentId(2'000'000'001);
  EXPECT_EQ(stateOf(track), TrackState::ConfidentId);

  miss(track, 3'000'000'001);
  EXPECT_EQ(stateOf(track), TrackState::ConfidentId);
  miss(track, 3'000'000'002);
  EXPECT_EQ(stateOf(track), TrackState::Inactive);
  EXPECT_FALSE(track.reportTrack().confident);
  miss(track, 22'000'000'001);
  EXPECT_EQ(stateOf(track), TrackState::Inactive);
  miss(track, 22'000'000'002);
  EXPECT_EQ(stateOf(track), TrackState::Expired);
}

TEST(ReidTrack, ExpiresByStateAndTimeSinceItsLastDetection) {
  const struct {
    std::uint64_t followedUntil;
    bool makeConfidentId;
    int reviveAttempts;
    std::uint64_t expiryAge;  // the largest age at which the track still lives
  } cases[] = {
      {0, false, 0, 300'000'000},            // tentative
      {500'000'000, false, 0, 300'000'000},  // confident, young
      {2'500'000'000, false, 0, 5'000'000'000},
      {2'500'000'000, true, 4, 20'000'000'000},
      {2'500'000'000, true, 5, 5'000'000'000},
  };
  const TrackerParams params = reidParams();
  for (const auto& c : cases) {
    const ObjectDetection detection = person({1, 0});
    ObjectTrack track(detection, 0, 0, params);
    follow(track, c.followedUntil, detection);
    if (c.makeConfidentId) {
      track.makeConfidentId(c.followedUntil);
      miss(track, c.followedUntil + 2 * kSecond);
      ASSERT_EQ(stateOf(track), TrackState::Inactive);
      for (int i = 0; i < c.reviveAttempts; ++i) track.registerReviveAttempt();
    }
    miss(track, c.followedUntil + c.expiryAge);
    EXPECT_FALSE(track.isExpired()) << c.expiryAge;
    miss(track, c.followedUntil + c.expiryAge + 1);
    EXPECT_TRUE(track.isExpired()) << c.expiryAge;
  }
  // A track with a confident identity that nobody saw for longer than expiryAge ends at once.
  const ObjectDetection detection = person({1, 0});
  ObjectTrack track(detection, 0, 0, params);
  follow(track, 2'500'000'000, detection);
  track.makeConfidentId(2'500'000'000);
  miss(track, 7'500'000'001);
  EXPECT_TRUE(track.isExpired());
}

TEST(ReidTrack, BlendsScoresAndKeepsItsLabel) {
  const TrackerParams params = reidParams({{"reid.scoreAbsorption", "0.5"}});
  ObjectDetection detection = person({});
  detection.attributes = {{1, 1, 0.8F}};
  ObjectTrack track(detection, 0, kSecond, params);
  track.predict(2 * kSecond);
  EXPECT_EQ(track.reportDebugTrack().lastDetectionId, -1);
  EXPECT_EQ(track.getDetection(), nullptr);
  detection.score = 50;
  detection.label = "car";
  detection.id = 9;
  track.update(detection, 2 * kSecond, false);
  EXPECT_EQ(track.getDetection(), &detection);
  const internal::DebugTrack debug = track.reportDebugTrack();
  EXPECT_EQ(debug.lastDetectionId, 9);
  EXPECT_EQ(debug.maxPositionDifferenceX, 0.0F);
  EXPECT_EQ(debug.track.label, "human");
  EXPECT_EQ(debug.track.score, 70.0F);
  ASSERT_EQ(debug.track.classifications.size(), 1U);
  EXPECT_EQ(debug.track.classifications[0].score, 70.0F);
  EXPECT_EQ(debug.track.attributes.at(0).score, 0.8F);
  miss(track, 3 * kSecond);
  EXPECT_EQ(track.reportTrack().score, 35.0F);
  EXPECT_EQ(track.reportTrack().attributes.at(0).score, 0.4F);
  EXPECT_THROW(track.observationLikelihood(detection), std::logic_error);
}

TEST(ReidTrack, ComparesFeatures) {
  EXPECT_FLOAT_EQ(cosineDistance({1, 0}, {0, 2}), 1.0F);
  EXPECT_FLOAT_EQ(cosineDistance({1, 1}, {-2, -2}), 2.0F);
  EXPECT_NEAR(cosineDistance({3, 4}, {4, 3}), 0.04F, 1e-6);
  for (const auto& [a, b] : std::vector<std::pair<std::vector<float>, std::vector<float>>>{
           {{}, {}}, {{1}, {}}, {{}, {1}}, {{1, 2}, {1}}, {{1}, {1, 2}}, {{0, 0}, {1, 2}}, {{1, 2}, {0, 0}}}) {
    EXPECT_EQ(cosineDistance(a, b), 2.0F);
  }
  const TrackerParams params = reidParams();
  ObjectTrack track(person({}), 0, 0, params);
  EXPECT_EQ(track.computeMinDistance({1, 0}), 0.4F);
  track.addFeature({0, 0});
  EXPECT_EQ(track.computeMinDistance({1, 0}), 2.0F);
  track.addFeature({0, 1});
  track.addFeature({3, 4});
  EXPECT_FLOAT_EQ(track.computeMinDistance({1, 0}), 0.4F);
  EXPECT_EQ(track.computeMinDistance({1, 0, 0}), 2.0F);

  ObjectTrack full(person({1, 0}), 0, 0, params);
  for (int i = 0; i < 49; ++i) full.addFeature({0, 1});
  EXPECT_EQ(full.computeMinDistance({1, 0}), 0.0F);
  full.addFeature({0, 1});  // the 51st
  EXPECT_EQ(full.computeMinDistance({1, 0}), 1.0F);
}

TEST(ReidTrack, TakesAQuantileAsTheDistanceOfTwoGalleries) {
  const float nan = std::nanf("");
  const struct {
    float quantile;
    float expected;
  } cases[] = {{0.3F, 5}, {0, 0}, {1, 19}, {0.999F, 18}, {-1, 0}, {2, 19}, {nan, 0}, {INFINITY, 19}};
  for (const auto& c : cases) {
    TrackerParams params = reidParams();
    params.reviveQuantile = c.quantile;
    ObjectTrack a(person({}), 0, 0, params);
    ObjectTrack b(person({}), 1, 0, params);
    const auto product = [](const auto& x, const auto& y) { return 19.0F - (x[0] * 5 + y[0]); };
    EXPECT_EQ(a.computeTrackTrackDistance(b, product), 0.4F);
    for (const float x : {2.0F, 0.0F, 3.0F, 1.0F}) a.addFeature({x});
    EXPECT_EQ(a.computeTrackTrackDistance(b, product), 0.4F);
    for (const float y : {4.0F, 0.0F, 2.0F, 3.0F, 1.0F}) b.addFeature({y});
    EXPECT_EQ(a.computeTrackTrackDistance(b, product), c.expected) << c.quantile;
  }
}

TEST(ReidTrack, GatesByAppearanceIfBothSidesHaveOneElseByOverlap) {
  const TrackerParams params = reidParams();
  const ObjectTrack bare(person({}), 0, 0, params);
  const ObjectTrack seen(person({1, 0}), 0, 0, params);
  const struct {
    const ObjectTrack& track;
    std::vector<float> feature;
    float iouDistance, featureDistance;
    bool passes;
  } cases[] = {
      {seen, {1, 0}, 0.9F, 0.4F, true}, {seen, {1, 0}, 0.1F, 0.41F, false}, {seen, {}, 0.8F, 9, true},
      {seen, {}, 0.81F, 0, false},      {bare, {1, 0}, 0.8F, 9, true},      {bare, {1, 0}, 0.81F, 0, false},
      {seen, {1, 0}, 0, NAN, false},    {bare, {}, NAN, 0, false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.track.canAssociateCosts(person(c.feature), c.iouDistance, c.featureDistance), c.passes);
  EXPECT_FLOAT_EQ(bare.computeIouDistance(boxAt(0.1F, 0, 0.2F, 0.4F)), 1 - 1.0F / 3);
  EXPECT_EQ(bare.computeIouDistance(boxAt(0.2F, 0, 0.2F, 0.4F)), 1.0F);
  EXPECT_EQ(bare.computeIouDistance({NAN, 0, 0, 0}), 1.0F);
  EXPECT_TRUE(bare.canReviveCost(0.225F));
  EXPECT_FALSE(bare.canReviveCost(0.2251F) || bare.canReviveCost(NAN));
}

TEST(ReidTrack, GoesOnWithWhatARevivingTrackGathered) {
  const TrackerParams params = reidParams();
  const ObjectDetection before = person({1, 0});
  ObjectTrack lost(before, 1, 0, params);
  follow(lost, 2'500'000'000, before);
  lost.makeConfidentId(2'500'000'000);
  miss(lost, 4 * kSecond);

  ObjectDetection back = person({0, 1}, boxAt(0.5F, 0, 0.2F, 0.4F));
  ObjectTrack young(back, 2, 5 * kSecond, params);
  young.predict(6 * kSecond);
  lost.predict(6 * kSecond);
  EXPECT_THROW(lost.revive(young, 6 * kSecond), std::runtime_error);
  EXPECT_EQ(stateOf(lost), TrackState::Inactive);
  young.update(back, 6 * kSecond, true);
  lost.revive(young, 6 * kSecond);
  EXPECT_TRUE(young.isExpired());
  EXPECT_EQ(stateOf(lost), TrackState::ConfidentId);
  EXPECT_EQ(lost.getUpdateTimestamp(), 6 * kSecond);
  EXPECT_EQ(lost.getBox().left, young.getBox().left);
  EXPECT_EQ(lost.computeMinDistance({0, 1}), 0.0F);
  EXPECT_EQ(lost.computeMinDistance({1, 0}), 0.0F);
}

}  // namespace
}  // namespace nivra::reid
