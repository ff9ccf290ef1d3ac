#include "nivra/reid/matching.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/detections.h"

namespace nivra::test {

using reid::ObjectTrack;
using reid::TrackState;

const Box kBox = boxAt(0, 0);

const reid::MatchParams params{reidParams(), kHumansAndCars};

TEST(ReidMatching, MixesOverlapAndAppearanceIntoACost) {
  ObjectTrack track = trackAged(kSecond, 0, params.params);
  track.predict(kNow + kFrame);
  const Box box = boxAt(0.02F, 0);
  const std::pair<std::vector<float>, float> cases[] = {{{}, 0.4F}, {{1, 0}, 0}, {{3, 4}, 0.4F}, {{4, 3}, 0.2F}};
  for (const auto& [feature, featureDistance] : cases) {
    const auto match = tryAssociateDetection(track, person(box, feature), params);
    ASSERT_TRUE(match.has_value());
    EXPECT_NEAR(match->cost, 0.2F * track.computeIouDistance(box) + 0.8F * featureDistance, 1e-6);
  }
  EXPECT_FALSE(tryAssociateDetection(track, person(box, {0, 1}), params));             // appearance
  EXPECT_FALSE(tryAssociateDetection(track, person(boxAt(0.9F, 0), {1, 0}), params));  // motion
  EXPECT_FALSE(tryAssociateDetection(track, detectionOf(box, "car"), params));         // label
}

TEST(ReidMatching, ServesCleanDetectionsFirstThenByStateThenByCost) {
  std::vector<ObjectTrack> tracks;
  for (const std::uint64_t age : {kSecond, 3 * kSecond, kFrame, 3 * kSecond}) {
    tracks.push_back(trackAged(age, static_cast<int>(tracks.size()), params.params));
    tracks.back().predict(kNow + kFrame);
  }
  std::vector<ObjectDetection> detections = {person(kBox, {1, 0}), person(boxAt(0.01F, 0), {4, 3}),
                                             person(kBox, {4, 3}), person(boxAt(0.9F, 0), {})};
  detections[0].inbetween = true;
  std::vector<reid::DetMatch> pairs;  // of a tentative track, a confident one, and two with an identity
  for (const std::size_t track : {2U, 0U, 3U, 1U}) {
    pairs.push_back({&tracks[track], &detections[0], 0.1F * static_cast<float>(pairs.size())});
  }
  sortInner(pairs.begin(), pairs.end());
  std::string order;
  for (const reid::DetMatch& pair : pairs) order += std::to_string(pair.track->getId());
  EXPECT_EQ(order, "3102");

  std::set<ObjectTrack*> free;
  for (ObjectTrack& track : tracks) free.insert(&track);
  const reid::ActiveMatchResult result = matchActive(free, detections, params);
  std::string matches;
  for (const reid::DetMatch& match : result.matches) {
    matches += std::to_string(match.track->getId()) + ":" + std::to_string(match.detection - detections.data()) + " ";
  }
  EXPECT_EQ(matches, "1:2 3:1 0:0 ");  // equal costs go to the older track
  EXPECT_TRUE(result.unmatchedTracks == free && free == std::set{&tracks[2]});
  EXPECT_EQ(result.unmatchedDetections, (std::set<const ObjectDetection*>{&detections[3]}));
}

TEST(ReidMatching, RevivesTheCheapestAndCountsEveryComparison) {
  std::vector<ObjectTrack> tracks = {lostTrack(0, params.params)};
  const std::uint64_t now = kNow + 10 * kSecond;
  const ObjectDetection near = person(kBox, {4, 1});
  for (int id = 1; id <= 2; ++id) {
    ObjectTrack& track = tracks.emplace_back(near, id, now - 3 * kSecond, params.params);
    track.predict(now);
    track.update(near, now, false);
  }
  tracks[2].addFeature({1, 0});  // comes nearer to the lost one's gallery
  tracks[0].predict(now);
  reid::TrackPartition partition = partitionTracks(tracks);
  EXPECT_EQ(partition.inactive, (std::set<ObjectTrack*>{&tracks[0]}));
  EXPECT_EQ(partition.active, (std::set<ObjectTrack*>{&tracks[1], &tracks[2]}));
  const reid::InactiveMatchResult result = matchInactive(partition.inactive, partition.active, params);
  ASSERT_EQ(result.matches.size(), 1U);
  EXPECT_EQ(result.matches[0].pending, &tracks[2]);
  EXPECT_EQ(result.unmatchedPending, (std::set<ObjectTrack*>{&tracks[1]}));
  EXPECT_TRUE(result.unmatchedInactive.empty());

  qualifyPending(result.unmatchedPending, now);
  EXPECT_EQ(tracks[1].getState(), TrackState::ConfidentId);
  testing::internal::CaptureStderr();
  qualifyPending(result.unmatchedPending, now);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Cannot make non-eligible track ConfidentID: 1\n");

  // With the two comparisons made, three more use up what is allowed, and the shorter age applies.
  for (int i = 0; i < 3; ++i) tracks[0].registerReviveAttempt();
  tracks[0].emptyUpdate(now);
  EXPECT_TRUE(tracks[0].isExpired());
}

TEST(ReidMatching, ListsRevivalsByCost) {
  std::vector<ObjectTrack> lost(2, lostTrack(0, params.params)), found;
  lost[1].addFeature({0, 1});
  const ObjectDetection detections[] = {person(kBox, {4, 1}), person(kBox, {0, 1})};
  for (const ObjectDetection& detection : detections) found.emplace_back(detection, 1, kNow + 1, params.params);
  std::set<ObjectTrack*> inactive = {&lost[0], &lost[1]}, pending = {&found[0], &found[1]};
  const reid::InactiveMatchResult result = matchInactive(inactive, pending, params);
  ASSERT_EQ(result.matches.size(), 2U);
  EXPECT_TRUE(result.matches[0].inactive == &lost[1] && result.matches[0].pending == &found[1]);
}

TEST(ReidMatching, ComparesOnlyTracksThatCanBeOne) {
  ObjectTrack lost = lostTrack(0, params.params);
  const auto canBe = [&](std::uint64_t bornAt, const char* label, float x, std::vector<float> feature) {
    ObjectDetection detection = person(boxAt(x, 0), feature);
    detection.label = label;
    ObjectTrack pending(detection, 1, bornAt, params.params);
    return tryAssociateTrack(lost, pending, params).has_value();
  };
  EXPECT_TRUE(canBe(kNow + 1, "human", 0, {1, 0}));
  EXPECT_FALSE(canBe(kNow, "human", 0, {1, 0}));
  EXPECT_FALSE(canBe(kNow + 1, "car", 0, {1, 0}));
  EXPECT_FALSE(canBe(kNow + 1, "human", 30, {1, 0}));
  EXPECT_FALSE(canBe(kNow + 1, "human", 0, {0, 1}));
  const ObjectDetection back = person(kBox, {4, 1});
  ObjectTrack pending(back, 1, kNow + 1, params.params);
  const auto candidates = getTrackMatchCandidates({&lost}, {&pending}, params);
  ASSERT_EQ(candidates.size(), 1U);
  EXPECT_EQ(candidates[0].cost, lost.computeTrackTrackDistance(pending, reid::cosineDistance));
  ObjectTrack without = trackAged(kFrame, 7, params.params);
  EXPECT_THROW(tryAssociateTrack(lost, without, params), std::runtime_error);
}

}  // namespace nivra::test
