#pragma once

/// @file
/// Which detection each active re-identification track takes, and which lost track each newly confident one
/// revives. Both matchings are greedy over candidates in a total order.

#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "nivra/associationCandidate.h"
#include "nivra/export.h"
#include "nivra/objectDetection.h"
#include "nivra/objectTracker.h"
#include "nivra/reid/objectTrack.h"
#include "nivra/trackerParams.h"

namespace nivra::reid {

/// What the matching reads.
struct MatchParams {
  TrackerParams params;                 ///< Those of the tracker.
  LabelAssociations labelAssociations;  ///< Which detections tracks of a label may take.
};

/// Of an active track. Its cost is `lambda` * IoU distance + (1 - `lambda`) * feature distance.
using DetMatch = AssociationCandidate<ObjectTrack>;

/// One admissible revival.
struct TrackMatch {
  ObjectTrack* inactive;  ///< The lost track that would go on.
  ObjectTrack* pending;   ///< The newly confident track that would be absorbed.
  float cost;             ///< Distance of the two galleries.
};

/// All tracks, by whether they are lost.
struct TrackPartition {
  std::set<ObjectTrack*> active;    ///< Those that detections are matched with.
  std::set<ObjectTrack*> inactive;  ///< Those that may be revived.
};

/// Which tracks took which detections, and what is left of both.
struct ActiveMatchResult {
  std::vector<DetMatch> matches;                         ///< In the order in which they were accepted.
  std::set<ObjectTrack*> unmatchedTracks;                ///< Those that took none.
  std::set<const ObjectDetection*> unmatchedDetections;  ///< Those that nobody took.
};

/// Which lost tracks go on, and what is left.
struct InactiveMatchResult {
  std::vector<TrackMatch> matches;           ///< In the order in which they were accepted.
  std::set<ObjectTrack*> unmatchedInactive;  ///< Those that stay lost.
  std::set<ObjectTrack*> unmatchedPending;   ///< Those that are somebody new.
};

/// (IoU distance, feature distance) of a detection from a track.
NIVRA_EXPORT std::pair<float, float> detAssociationCost(const ObjectTrack& track, const ObjectDetection& detection,
                                                        const TrackerParams& params);

/// The pairing, if it passes the gates of label, box filter and costs.
NIVRA_EXPORT std::optional<DetMatch> tryAssociateDetection(ObjectTrack& track, const ObjectDetection& detection,
                                                           const MatchParams& params);

/// All admissible pairings, track by track, within each detection by detection.
NIVRA_EXPORT std::vector<DetMatch> getDetectionMatchCandidates(const std::set<ObjectTrack*>& tracks,
                                                               const std::vector<ObjectDetection>& detections,
                                                               const MatchParams& params);

/// Orders pairings: tracks with a confident identity, then confident ones, then tentative ones, within each
/// by ascending cost, equal costs by track, then detection.
NIVRA_EXPORT void sortInner(std::vector<DetMatch>::iterator first, std::vector<DetMatch>::iterator last);

/// Associates detections with tracks: clean detections before those that lie between others, within each in
/// the order of `sortInner`.
/// @param tracks The active tracks; matched ones are taken out.
NIVRA_EXPORT ActiveMatchResult matchActive(std::set<ObjectTrack*>& tracks,
                                           const std::vector<ObjectDetection>& detections, const MatchParams& params);

/// Tells lost tracks from the others.
NIVRA_EXPORT TrackPartition partitionTracks(std::vector<ObjectTrack>& tracks);

/// The revival, if label, box filter, times and galleries allow it. Comparing the galleries counts as a
/// revive attempt of the lost track.
/// @param params Those of the tracker, as for the detections; the tracks have what is needed of them.
/// @throws std::runtime_error naming both tracks if `pending` took no detection in this frame.
NIVRA_EXPORT std::optional<TrackMatch> tryAssociateTrack(ObjectTrack& inactive, ObjectTrack& pending,
                                                         const MatchParams& params);

/// All admissible revivals, lost track by lost track.
NIVRA_EXPORT std::vector<TrackMatch> getTrackMatchCandidates(const std::set<ObjectTrack*>& inactive,
                                                             const std::set<ObjectTrack*>& pending,
                                                             const MatchParams& params);

/// Chooses revivals by ascending cost, equal costs by lost track, then pending track.
/// @param inactive The lost tracks; matched ones are taken out.
/// @param pending The newly confident tracks; matched ones are taken out.
/// @param params As for `tryAssociateTrack`.
NIVRA_EXPORT InactiveMatchResult matchInactive(std::set<ObjectTrack*>& inactive, std::set<ObjectTrack*>& pending,
                                               const MatchParams& params);

/// Gives each track a confident identity of its own; a track that may not have one is reported as a fault.
NIVRA_EXPORT void qualifyPending(const std::set<ObjectTrack*>& pending, unsigned long long timestamp);

}  // namespace nivra::reid
