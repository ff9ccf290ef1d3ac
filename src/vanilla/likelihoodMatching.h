#pragma once

#include <algorithm>
#include <set>
#include <vector>

#include "core/greedyMatching.h"
#include "core/trackSteps.h"
#include "nivra/objectDetection.h"
#include "nivra/objectTracker.h"

/// What the trackers do alike that match by observation likelihood.
namespace nivra {

/// All pairs that pass the track's gates, detection by detection, within each track by track.
template <class Candidate, class Track>
std::vector<Candidate> associateByLikelihood(std::vector<Track>& tracks, const std::vector<ObjectDetection>& detections,
                                             const LabelAssociations& labelAssociations) {
  std::vector<Candidate> candidates;
  for (const ObjectDetection& detection : detections) {
    for (Track& track : tracks) {
      if (!track.canAssociate(detection, labelAssociations)) continue;
      candidates.push_back({&track, &detection, -track.observationLikelihood(detection)});
    }
  }
  return candidates;
}

/// The matching of one frame. Tracks once confirmed come before tentative ones, which only get what no
/// confirmed track took, however well it fits.
template <class Tracker, class Track>
void updateTracksByLikelihood(Tracker& tracker, std::vector<Track>& tracks,
                              const std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  auto candidates = tracker.associate(detections);
  std::sort(candidates.begin(), candidates.end(), [](const auto& a, const auto& b) {
    if (a.track->isTentative() != b.track->isTentative()) return b.track->isTentative();
    return cheaper(a, b);
  });

  auto unmatchedTracks = addressesOf<Track*>(tracks);
  auto unmatchedDetections = addressesOf<const ObjectDetection*>(detections);
  matchGreedily(candidates, unmatchedTracks, unmatchedDetections,
                [timestamp](const auto& match) { match.track->update(*match.detection, timestamp); });

  tracker.updateNonMatchedTracks(unmatchedTracks);
  tracker.addNewTracks(unmatchedDetections, timestamp);
}

}  // namespace nivra
