// The steps that trackers offer one by one, in their public terms: sets, pointers and lists of candidates.

#include <gtest/gtest.h>

#include "support/crowd.h"

namespace nivra::test {
namespace {

std::vector<ObjectDetection> nextFrameOfPeople(Crowd& crowd) {
  auto detections = crowd.nextFrame();
  for (ObjectDetection& each : detections) each.label = each.classifications[0].label = "human";
  return detections;
}

/// Every pair that passes the track's gates is listed, and no other, for all tracks that are listed at all.
template <class Candidate>
void expectAllPairs(const std::vector<Candidate>& candidates, const std::vector<ObjectDetection>& detections) {
  std::set<decltype(Candidate::track)> tracks;
  for (const Candidate& each : candidates) tracks.insert(each.track);
  std::size_t next = 0;
  for (const ObjectDetection& detection : detections) {
    for (const auto* track : tracks) {
      if (!track->canAssociate(detection, kHumansAndCars)) continue;
      ASSERT_LT(next, candidates.size());
      EXPECT_TRUE(candidates[next].track == track && candidates[next].detection == &detection);
      EXPECT_EQ(candidates[next].cost, -track->observationLikelihood(detection));
      ++next;
    }
  }
  EXPECT_EQ(next, candidates.size());
}

template <class Tracker>
void followByLikelihood(const vanilla::TrackerParams& params) {
  Tracker whole(params, kHumansAndCars), stepped(params, kHumansAndCars);
  Crowd crowd(60, 3);
  std::vector<ObjectDetection> detections;
  for (std::uint64_t frame = 1; frame <= 60; ++frame) {
    detections = nextFrameOfPeople(crowd);
    const auto removed = whole.update(detections, frame * kFrame).removedIds;
    stepped.predict(frame * kFrame);
    const auto candidates = stepped.associate(detections);
    EXPECT_TRUE(frame == 1 || candidates.size() > 40) << frame;
    expectAllPairs(candidates, detections);
    stepped.updateTracks(detections, frame * kFrame);
    EXPECT_EQ(stepped.pruneExpiredTracks(), removed);
    ASSERT_EQ(fingerprint(stepped.getDebugTracks()), fingerprint(whole.getDebugTracks())) << frame;
  }
  const auto before = stepped.getTracks();
  stepped.updateNonMatchedTracks({stepped.associate(detections).at(0).track});
  stepped.addNewTracks({&detections[1], &detections[3]}, 61 * kFrame);
  const auto after = stepped.getTracks();
  ASSERT_EQ(after.size(), before.size() + 2);
  std::size_t faded = 0;
  for (std::size_t i = 0; i < before.size(); ++i) faded += after[i].score < before[i].score ? 1U : 0U;
  EXPECT_EQ(faded, 1U);
  EXPECT_EQ(after.back().box.left, detections[3].box.left);
}

TEST(PublicSteps, MakeUpAFrameOfTheLikelihoodTrackers) {
  followByLikelihood<vanilla::VanillaTracker>(vanillaParams());
  followByLikelihood<vanillaLowFps::VanillaLowFpsTracker>(lowFpsParams());
}

TEST(PublicSteps, MakeUpAFrameOfTheReidentificationTracker) {
  reid::ReidTracker whole(reidParams(), kHumansAndCars), stepped(reidParams(), kHumansAndCars);
  Crowd crowd(60, 3);
  for (std::uint64_t frame = 1; frame <= 60; ++frame) {
    auto detections = crowd.nextFrame();
    const auto removed = whole.update(detections, frame * kFrame).removedIds;
    stepped.predict(frame * kFrame);
    EXPECT_EQ(stepped.updateTracks(detections, frame * kFrame).removedIds, removed);
    ASSERT_EQ(fingerprint(stepped.getDebugTracks()), fingerprint(whole.getDebugTracks())) << frame;
  }
  std::vector<ObjectDetection> pair = {detectionOf(boxAt(0, 0)), detectionOf(boxAt(0.5F, 0))};
  pair[0].inbetween = true;
  const std::size_t before = stepped.getTracks().size();
  stepped.addNewTracks({&pair[0], &pair[1]}, 61 * kFrame);
  ASSERT_EQ(stepped.getTracks().size(), before + 1);
  EXPECT_FLOAT_EQ(stepped.getTracks().back().box.left, pair[1].box.left);
}

TEST(PublicSteps, ListEveryAdmissiblePairOfTracksAndDetections) {
  const reid::MatchParams params{reidParams(), kHumansAndCars};
  Crowd crowd(80, 9);
  std::vector<reid::ObjectTrack> tracks;
  for (const ObjectDetection& detection : crowd.nextFrame()) {
    tracks.emplace_back(detection, static_cast<int>(tracks.size()), kFrame, params.params);
    tracks.back().predict(2 * kFrame);
  }
  std::set<reid::ObjectTrack*> all;
  for (reid::ObjectTrack& track : tracks) all.insert(&track);
  const auto detections = crowd.nextFrame();
  const auto candidates = reid::getDetectionMatchCandidates(all, detections, params);
  std::size_t next = 0;
  for (reid::ObjectTrack& track : tracks) {
    for (const ObjectDetection& detection : detections) {
      const auto match = reid::tryAssociateDetection(track, detection, params);
      if (!match) continue;
      ASSERT_LT(next, candidates.size());
      EXPECT_TRUE(candidates[next].track == &track && candidates[next].detection == &detection);
      EXPECT_EQ(candidates[next++].cost, match->cost);
    }
  }
  EXPECT_EQ(next, candidates.size());
  EXPECT_GT(next, tracks.size() / 2);
}

}  // namespace
}  // namespace nivra::test
