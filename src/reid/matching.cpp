#include "nivra/reid/matching.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <tuple>

#include "core/faultReport.h"
#include "reid/frameMatching.h"
#include "reid/pairRules.h"

namespace nivra::reid {

namespace {

// ---- Between sets of pointers, which the public functions take, and positions ----

template <class Element>
std::vector<Element*> listOf(const std::set<Element*>& elements) {
  return {elements.begin(), elements.end()};
}

DetMatch matchOf(const GreedyMatching::Pair& pair, const std::vector<ObjectTrack*>& tracks,
                 const std::vector<ObjectDetection>& detections) {
  return {tracks[pair.first], &detections[pair.second], pair.cost};
}

}  // namespace

// ---- Detections ----

static Point placeOf(const Box& box) { return {box.left, box.bottom}; }

/// Where the places of detections lie that pass the gate of the track's filter.
static Window reachOf(const ObjectTrack& track) {
  const Point reach = track.getBoxFilter().getMaxEdgeOffset();
  return {placeOf(track.getBox()), reach.x, reach.y};
}

void DetectionMatching::prepare(DetectionRange detections) {
  features.clear();
  for (const ObjectDetection& detection : detections) features.push_back(featureOf(detection));
  index.fill(detections, [detections](std::uint32_t i) { return std::optional(placeOf(detections[i].box)); });
  trackIndex.clear();
}

template <class IsWanted, class Visit>
void DetectionMatching::visitDetectionsOf(const ObjectTrack& track, DetectionRange detections, IsWanted isWanted,
                                          Visit visit) {
  index.visitAdmissible(index.getLabels().numberOf(track.getLabel()), reachOf(track), [&](std::uint32_t i) {
    if (!isWanted(i)) return;
    const std::optional<float> cost = gatedCost(track, detections[i], features[i], params, Unheard());
    if (cost) visit(i, *cost);
  });
}

template <class IsWanted, class Visit>
void DetectionMatching::visitTracksOf(const std::vector<ObjectTrack*>& tracks, DetectionRange detections,
                                      std::uint32_t detection, IsWanted isWanted, Visit visit) {
  if (trackIndex.isEmpty()) {
    trackLabels.clear();
    for (const ObjectTrack* track : tracks) {
      trackIndex.add(reachOf(*track));
      trackLabels.push_back(index.getLabels().numberOf(track->getLabel()));
    }
    trackIndex.build();
  }
  trackIndex.visit(placeOf(detections[detection].box), [&](std::uint32_t i) {
    if (!isWanted(i)) return;
    if (!index.getLabels().admissibleTo(trackLabels[i]).contains(index.labelNumberOf(detection))) return;
    const std::optional<float> cost =
        gatedCost(*tracks[i], detections[detection], features[detection], params, Unheard());
    if (cost) visit(i, *cost);
  });
}

void DetectionMatching::findPairs(const std::vector<ObjectTrack*>& tracks, DetectionRange detections) {
  matching.reset(tracks.size(), detections.size());
  prepare(detections);
  for (std::uint32_t i = 0; i < tracks.size(); ++i) {
    visitDetectionsOf(
        *tracks[i], detections, [](std::uint32_t) { return true; },
        [&](std::uint32_t detection, float cost) { matching.propose(i, detection, cost); });
  }
}

void DetectionMatching::match(const std::vector<ObjectTrack*>& tracks, DetectionRange detections,
                              const std::vector<char>& isInbetween) {
  prepare(detections);
  matching.match(
      tracks.size(), detections.size(),
      [&](std::uint32_t track, auto isWanted, auto visit) {
        visitDetectionsOf(*tracks[track], detections, isWanted, visit);
      },
      [&](std::uint32_t detection, auto isWanted, auto visit) {
        visitTracksOf(tracks, detections, detection, isWanted, visit);
      },
      [&](const GreedyMatching::Pair& pair) {
        return matchingOrder(rankOf(*tracks[pair.first], isInbetween[pair.second] != 0), pair.cost);
      });
}

std::pair<float, float> detAssociationCost(const ObjectTrack& track, const ObjectDetection& detection,
                                           const TrackerParams& params) {
  return distances(track, detection, featureOf(detection), params);
}

std::optional<DetMatch> tryAssociateDetection(ObjectTrack& track, const ObjectDetection& detection,
                                              const MatchParams& params) {
  if (!track.hasAdmissibleLabel(detection, params.labelAssociations)) return std::nullopt;
  const std::optional<float> cost = gatedCost(track, detection, featureOf(detection), params.params, Unheard());
  return cost ? std::optional(DetMatch{&track, &detection, *cost}) : std::nullopt;
}

std::vector<DetMatch> getDetectionMatchCandidates(const std::set<ObjectTrack*>& tracks,
                                                  const std::vector<ObjectDetection>& detections,
                                                  const MatchParams& params) {
  const std::vector<ObjectTrack*> list = listOf(tracks);
  DetectionMatching matching(params.params, params.labelAssociations);
  matching.findPairs(list, DetectionRange(detections));
  std::vector<DetMatch> candidates;
  for (const auto& pair : matching.getPairs()) candidates.push_back(matchOf(pair, list, detections));
  std::sort(candidates.begin(), candidates.end(), [](const DetMatch& a, const DetMatch& b) {
    return std::pair(a.track, a.detection) < std::pair(b.track, b.detection);
  });
  return candidates;
}

void sortInner(std::vector<DetMatch>::iterator first, std::vector<DetMatch>::iterator last) {
  const auto placeOf = [](const DetMatch& match) {
    return std::tuple(matchingOrder(rankOf(*match.track, false), match.cost), match.track, match.detection);
  };
  std::sort(first, last, [&](const DetMatch& a, const DetMatch& b) { return placeOf(a) < placeOf(b); });
}

ActiveMatchResult matchActive(std::set<ObjectTrack*>& tracks, const std::vector<ObjectDetection>& detections,
                              const MatchParams& params) {
  const std::vector<ObjectTrack*> list = listOf(tracks);
  std::vector<char> isInbetween;
  for (const ObjectDetection& detection : detections) isInbetween.push_back(detection.inbetween ? 1 : 0);
  DetectionMatching matching(params.params, params.labelAssociations);
  matching.match(list, DetectionRange(detections), isInbetween);

  ActiveMatchResult result;
  for (const auto& pair : matching.getPairs()) {
    if (matching.isAccepted(pair)) result.matches.push_back(matchOf(pair, list, detections));
  }
  const auto firstInbetween = std::partition(result.matches.begin(), result.matches.end(),
                                             [](const DetMatch& match) { return !match.detection->inbetween; });
  sortInner(result.matches.begin(), firstInbetween);
  sortInner(firstInbetween, result.matches.end());
  for (const DetMatch& match : result.matches) tracks.erase(match.track);
  result.unmatchedTracks = tracks;
  for (std::uint32_t i = 0; i < detections.size(); ++i) {
    if (matching.isLeft(i)) result.unmatchedDetections.insert(&detections[i]);
  }
  return result;
}

TrackPartition partitionTracks(std::vector<ObjectTrack>& tracks) {
  TrackPartition partition;
  for (ObjectTrack& track : tracks) {
    (track.getState() == TrackState::Inactive ? partition.inactive : partition.active).insert(&track);
  }
  return partition;
}

// ---- Revivals ----

/// @throws std::runtime_error naming both tracks if the young one took no detection in this frame.
static bool isComparable(const ObjectTrack& inactive, const ObjectTrack& pending) {
  if (pending.getDetection() == nullptr) {
    throw std::runtime_error("Tried to associate track " + std::to_string(inactive.getId()) +
                             " with track without associated detection " + std::to_string(pending.getId()));
  }
  return areComparable(inactive, pending, Unheard());
}

std::optional<TrackMatch> tryAssociateTrack(ObjectTrack& inactive, ObjectTrack& pending,
                                            const MatchParams& /*params*/) {
  if (!isComparable(inactive, pending)) return std::nullopt;
  const std::optional<float> cost = revivalCost(inactive, pending, Unheard());
  inactive.registerReviveAttempt();
  return cost ? std::optional(TrackMatch{&inactive, &pending, *cost}) : std::nullopt;
}

void matchRevivals(const std::vector<ObjectTrack*>& inactive, const std::vector<ObjectTrack*>& pending,
                   GreedyMatching& matching) {
  // Counted apart from the comparing, since the choice may compare a pair several times, or not at all.
  for (ObjectTrack* lost : inactive) {
    for (const ObjectTrack* found : pending) {
      if (isComparable(*lost, *found)) lost->registerReviveAttempt();
    }
  }
  const auto costOf = [&](std::uint32_t lost, std::uint32_t found) -> std::optional<float> {
    if (!isComparable(*inactive[lost], *pending[found])) return std::nullopt;
    return revivalCost(*inactive[lost], *pending[found], Unheard());
  };
  matching.match(
      inactive.size(), pending.size(),
      [&](std::uint32_t lost, auto isWanted, auto visit) {
        for (std::uint32_t found = 0; found < pending.size(); ++found) {
          if (!isWanted(found)) continue;
          if (const std::optional<float> cost = costOf(lost, found)) visit(found, *cost);
        }
      },
      [&](std::uint32_t found, auto isWanted, auto visit) {
        for (std::uint32_t lost = 0; lost < inactive.size(); ++lost) {
          if (!isWanted(lost)) continue;
          if (const std::optional<float> cost = costOf(lost, found)) visit(lost, *cost);
        }
      },
      [](const GreedyMatching::Pair& pair) { return matchingOrder(0, pair.cost); });
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
                                  const MatchParams& /*params*/) {
  const std::vector<ObjectTrack*> lost = listOf(inactive);
  const std::vector<ObjectTrack*> found = listOf(pending);
  GreedyMatching matching;
  matchRevivals(lost, found, matching);

  InactiveMatchResult result;
  for (const auto& pair : matching.getPairs()) {
    if (!matching.isAccepted(pair)) continue;
    result.matches.push_back({lost[pair.first], found[pair.second], pair.cost});
    inactive.erase(lost[pair.first]);
    pending.erase(found[pair.second]);
  }
  // Pairs stand in the order of the lost tracks, which settles equal costs.
  std::stable_sort(result.matches.begin(), result.matches.end(), [](const TrackMatch& a, const TrackMatch& b) {
    return matchingOrder(0, a.cost) < matchingOrder(0, b.cost);
  });
  result.unmatchedInactive = inactive;
  result.unmatchedPending = pending;
  return result;
}

void qualify(ObjectTrack& track, unsigned long long timestamp) {
  try {
    track.makeConfidentId(timestamp);
  } catch (const std::runtime_error& error) {
    reportFault(error.what());
  }
}

void qualifyPending(const std::set<ObjectTrack*>& pending, unsigned long long timestamp) {
  for (ObjectTrack* track : pending) qualify(*track, timestamp);
}

}  // namespace nivra::reid
