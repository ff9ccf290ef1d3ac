#include "nivra/reid/matching.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "core/faultReport.h"
#include "core/greedyMatching.h"
#include "core/trackSteps.h"

namespace nivra::reid {

// Beside TrackMatch, where the greedy matching finds it.
static std::pair<ObjectTrack*, ObjectTrack*> sides(const TrackMatch& match) { return {match.inactive, match.pending}; }

namespace {

/// Position of a track's state in the order of matching.
int rankOf(const ObjectTrack& track) {
  switch (track.getState()) {
    case TrackState::ConfidentId:
      return 0;
    case TrackState::Confident:
      return 1;
    default:
      return 2;
  }
}

}  // namespace

std::pair<float, float> detAssociationCost(const ObjectTrack& track, const ObjectDetection& detection,
                                           const TrackerParams& params) {
  const float iouDistance = track.computeIouDistance(detection.box);
  if (!detection.feature) return {iouDistance, params.defaultCosineDistance};
  return {iouDistance, track.computeMinDistance(*detection.feature)};
}

std::optional<DetMatch> tryAssociateDetection(ObjectTrack& track, const ObjectDetection& detection,
                                              const MatchParams& params) {
  if (!track.hasAdmissibleLabel(detection, params.labelAssociations)) return std::nullopt;
  if (!track.canAssociateKalman(detection)) return std::nullopt;
  const auto [iouDistance, featureDistance] = detAssociationCost(track, detection, params.params);
  if (!track.canAssociateCosts(detection, iouDistance, featureDistance)) return std::nullopt;
  const float lambda = params.params.lambda;
  return DetMatch{&track, &detection, iouDistance * lambda + (1.0F - lambda) * featureDistance};
}

std::vector<DetMatch> getDetectionMatchCandidates(const std::set<ObjectTrack*>& tracks,
                                                  const std::vector<ObjectDetection>& detections,
                                                  const MatchParams& params) {
  std::vector<DetMatch> candidates;
  for (ObjectTrack* track : tracks) {
    for (const ObjectDetection& detection : detections) {
      if (const auto match = tryAssociateDetection(*track, detection, params)) candidates.push_back(*match);
    }
  }
  return candidates;
}

void sortInner(std::vector<DetMatch>::iterator first, std::vector<DetMatch>::iterator last) {
  std::sort(first, last, [](const DetMatch& a, const DetMatch& b) {
    const int rankA = rankOf(*a.track);
    const int rankB = rankOf(*b.track);
    return rankA != rankB ? rankA < rankB : cheaper(a, b);
  });
}

ActiveMatchResult matchActive(std::set<ObjectTrack*>& tracks, const std::vector<ObjectDetection>& detections,
                              const MatchParams& params) {
  std::vector<DetMatch> candidates = getDetectionMatchCandidates(tracks, detections, params);
  const auto firstInbetween = std::partition(candidates.begin(), candidates.end(),
                                             [](const DetMatch& match) { return !match.detection->inbetween; });
  sortInner(candidates.begin(), firstInbetween);
  sortInner(firstInbetween, candidates.end());

  ActiveMatchResult result;
  result.unmatchedDetections = addressesOf<const ObjectDetection*>(detections);
  matchGreedily(candidates, tracks, result.unmatchedDetections,
                [&](const DetMatch& match) { result.matches.push_back(match); });
  result.unmatchedTracks = tracks;
  return result;
}

TrackPartition partitionTracks(std::vector<ObjectTrack>& tracks) {
  TrackPartition partition;
  for (ObjectTrack& track : tracks) {
    (track.getState() == TrackState::Inactive ? partition.inactive : partition.active).insert(&track);
  }
  return partition;
}

std::optional<TrackMatch> tryAssociateTrack(ObjectTrack& inactive, ObjectTrack& pending,
                                            const MatchParams& /*params*/) {
  if (pending.getDetection() == nullptr) {
    throw std::runtime_error("Tried to associate track " + std::to_string(inactive.getId()) +
                             " with track without associated detection " + std::to_string(pending.getId()));
  }
  if (inactive.getLabel() != pending.getLabel()) return std::nullopt;
  if (!inactive.canAssociateKalman(*pending.getDetection())) return std::nullopt;
  if (inactive.getUpdateTimestamp() >= pending.getCreationTimestamp()) return std::nullopt;
  const float distance = inactive.computeTrackTrackDistance(pending);
  inactive.registerReviveAttempt();
  if (!inactive.canReviveCost(distance)) return std::nullopt;
  return TrackMatch{&inactive, &pending, distance};
}

std::vector<TrackMatch> getTrackMatchCandidates(const std::set<ObjectTrack*>& inactive,
                                                const std::set<ObjectTrack*>& pending, const MatchParams& params) {
  std::vector<TrackMatch> candidates;
  for (ObjectTrack* lost : inactive) {
    for (ObjectTrack* found : pending) {
      if (const auto match = tryAssociateTrack(*lost, *found, params)) candidates.push_back(*match);
    }
  }
  return candidates;
}

InactiveMatchResult matchInactive(std::set<ObjectTrack*>& inactive, std::set<ObjectTrack*>& pending,
                                  const MatchParams& params) {
  std::vector<TrackMatch> candidates = getTrackMatchCandidates(inactive, pending, params);
  std::sort(candidates.begin(), candidates.end(), cheaper<TrackMatch>);

  InactiveMatchResult result;
  matchGreedily(candidates, inactive, pending, [&](const TrackMatch& match) { result.matches.push_back(match); });
  result.unmatchedInactive = inactive;
  result.unmatchedPending = pending;
  return result;
}

void qualifyPending(const std::set<ObjectTrack*>& pending, unsigned long long timestamp) {
  for (ObjectTrack* track : pending) {
    try {
      track->makeConfidentId(timestamp);
    } catch (const std::runtime_error& error) {
      reportFault(error.what());
    }
  }
}

}  // namespace nivra::reid
