#include "nivra/reid/matching.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/detections.h"

namespace nivra::reid {
namespace {

using test::boxAt;
using test::kFrame;
using test::kSecond;

class ReidMatching : public testing::Test {
 protected:
  /// A track at the end of the given state's way, last updated at `now`.
  ObjectTrack trackIn(TrackState state, int id, const Box& box = boxAt(0, 0, 0.2F, 0.4F),
                      std::vector<float> feature = {1, 0}) {
    ObjectDetection detection = test::detectionOf(box);
    detection.feature = feature;
    const std::uint64_t age = state == TrackState::Tentative   ? kFrame
                              : state == TrackState::Confident ? kSecond
                                                               : 3 * kSecond;
    ObjectTrack track(detection, id, now - age, params.params);
    track.predict(now);
    track.update(detection, now, false);
    if (state == TrackState::ConfidentId || state == TrackState::Inactive) track.makeConfidentId(now);
    if (state == TrackState::Inactive) {
      track.predict(now + 2 * kSecond);
      track.emptyUpdate(now + 2 * kSecond);
    }
    EXPECT_EQ(track.getState(), state);
    return track;
  }

  static ObjectDetection person(const Box& box, std::vector<float> feature = {}, bool inbetween = false) {
    ObjectDetection detection = test::detectionOf(box);
    if (!feature.empty()) detection.feature = feature;
    detection.inbetween = inbetween;
    return detection;
  }

  std::set<ObjectTrack*> all() {
    std::set<ObjectTrack*> pointers;
    for (ObjectTrack& track : tracks) pointers.insert(&track);
    return pointers;
  }

  std::uint64_t now = 10 * kSecond;
  ParameterMap none;
  MatchParams params{parseReidParameters(none, 1.0F), {{"human", {"human"}}}};
  std::vector<ObjectTrack> tracks;
};

TEST_F(ReidMatching, MixesOverlapAndAppearanceIntoACost) {
  ObjectTrack track = trackIn(TrackState::Confident, 0);
  track.predict(now + kFrame);
  const Box box = boxAt(0.02F, 0, 0.2F, 0.4F);
  const float iouDistance = track.computeIouDistance(box);
  const struct {
    std::vector<float> feature;
    float featureDistance;
  } cases[] = {{{}, 0.4F}, {{1, 0}, 0.0F}, {{3, 4}, 0.4F}, {{4, 3}, 0.2F}};
  for (const auto& c : cases) {
    const ObjectDetection detection = person(box, c.feature);
    const auto match = tryAssociateDetection(track, detection, params);
    ASSERT_TRUE(match.has_value());
    EXPECT_NEAR(match->cost, 0.2F * iouDistance + 0.8F * c.featureDistance, 1e-6);
  }
  EXPECT_FALSE(tryAssociateDetection(track, person(box, {0, 1}), params));                         // appearance
  EXPECT_FALSE(tryAssociateDetection(track, person(boxAt(0.9F, 0, 0.2F, 0.4F), {1, 0}), params));  // motion
  params.labelAssociations = {{"car", {"human"}}};
  EXPECT_FALSE(tryAssociateDetection(track, person(box, {1, 0}), params));  // label
}

TEST_F(ReidMatching, ServesCleanDetectionsFirstThenByStateThenByCost) {
  const Box home = boxAt(0, 0, 0.2F, 0.4F);
  tracks = {trackIn(TrackState::Tentative, 0), trackIn(TrackState::ConfidentId, 1), trackIn(TrackState::Confident, 2),
            trackIn(TrackState::ConfidentId, 3)};
  for (ObjectTrack& track : tracks) track.predict(now + kFrame);
  const std::vector<ObjectDetection> detections = {person(home, {1, 0}, true),
                                                   person(boxAt(0.01F, 0, 0.2F, 0.4F), {4, 3}), person(home, {4, 3}),
                                                   person(boxAt(0.9F, 0, 0.2F, 0.4F))};
  std::set<ObjectTrack*> free = all();
  const ActiveMatchResult result = matchActive(free, detections, params);
  ASSERT_EQ(result.matches.size(), 3U);
  const std::pair<int, int> expected[] = {{1, 2}, {3, 1}, {2, 0}};  // equal costs go to the older track
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(result.matches[i].track->getId(), expected[i].first);
    EXPECT_EQ(result.matches[i].detection, &detections[static_cast<std::size_t>(expected[i].second)]);
  }
  EXPECT_EQ(result.unmatchedTracks, (std::set<ObjectTrack*>{&tracks[0]}));
  EXPECT_EQ(free, result.unmatchedTracks);
  EXPECT_EQ(result.unmatchedDetections, (std::set<const ObjectDetection*>{&detections[3]}));
}

TEST_F(ReidMatching, RevivesTheCheapestAndCountsEveryComparison) {
  tracks = {trackIn(TrackState::Inactive, 0)};
  now += 10 * kSecond;
  const ObjectDetection near = person(boxAt(0, 0, 0.2F, 0.4F), {4, 1});
  for (int id = 1; id <= 2; ++id) {
    tracks.emplace_back(near, id, now - 3 * kSecond, params.params);
    for (const std::uint64_t then : {now - 2 * kSecond, now}) {
      tracks.back().predict(then);
      tracks.back().update(near, then, false);
    }
    if (id == 2) tracks.back().addFeature({1, 0});  // comes nearer to the lost one's gallery
  }
  tracks[0].predict(now);
  TrackPartition partition = partitionTracks(tracks);
  EXPECT_EQ(partition.inactive, (std::set<ObjectTrack*>{&tracks[0]}));
  EXPECT_EQ(partition.active.size(), 2U);
  const InactiveMatchResult result = matchInactive(partition.inactive, partition.active, params);
  ASSERT_EQ(result.matches.size(), 1U);
  EXPECT_EQ(result.matches[0].pending, &tracks[2]);
  EXPECT_EQ(result.unmatchedPending, (std::set<ObjectTrack*>{&tracks[1]}));
  EXPECT_TRUE(result.unmatchedInactive.empty());

  qualifyPending(result.unmatchedPending, now);
  EXPECT_EQ(tracks[1].getState(), TrackState::ConfidentId);
  testing::internal::CaptureStderr();
  qualifyPending({&tracks[1]}, now);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Cannot make non-eligible track ConfidentID: 1\n");

  // With the two comparisons made, three more use up what is allowed, and the shorter age applies.
  for (int i = 0; i < 3; ++i) tracks[0].registerReviveAttempt();
  tracks[0].emptyUpdate(now);
  EXPECT_TRUE(tracks[0].isExpired());
}

TEST_F(ReidMatching, ComparesOnlyTracksThatCanBeOne) {
  ObjectTrack lost = trackIn(TrackState::Inactive, 0);
  const std::uint64_t lostAt = now;
  const auto revival = [&](std::uint64_t bornAt, const char* label, float x) {
    ObjectDetection detection = person(boxAt(x, 0, 0.2F, 0.4F), {1, 0});
    detection.label = label;
    ObjectTrack pending(detection, 1, bornAt, params.params);
    return tryAssociateTrack(lost, pending, params).has_value();
  };
  EXPECT_TRUE(revival(lostAt + 1, "human", 0));
  EXPECT_FALSE(revival(lostAt, "human", 0));
  EXPECT_FALSE(revival(lostAt + 1, "car", 0));
  EXPECT_FALSE(revival(lostAt + 1, "human", 30));

  ObjectTrack without = trackIn(TrackState::Tentative, 7);
  without.releaseDetection();
  EXPECT_THROW(tryAssociateTrack(lost, without, params), std::runtime_error);
}

}  // namespace
}  // namespace nivra::reid
