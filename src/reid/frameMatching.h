#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/detectionRange.h"
#include "matching/detectionIndex.h"
#include "matching/greedyMatching.h"
#include "matching/trackIndex.h"
#include "nivra/objectTracker.h"
#include "nivra/reid/featureGallery.h"
#include "nivra/reid/objectTrack.h"
#include "nivra/trackerParams.h"

namespace nivra::reid {

/// Which detection of a frame each active track takes.
///
/// What a pair must pass is what `tryAssociateDetection` tests, by the same functions; but labels are looked up and
/// norms of features computed once per detection, and a track meets only the detections within the reach of its
/// filter's gate. Keeps its memory from frame to frame.
class DetectionMatching {
 public:
  DetectionMatching(const TrackerParams& trackerParams, const LabelAssociations& associations)
      : params(trackerParams), index(associations) {}

  /// Lists all pairs that pass the gates, track by track.
  void findPairs(const std::vector<ObjectTrack*>& tracks, DetectionRange detections);

  /// The pairs listed; after `match` at least those accepted.
  const std::vector<GreedyMatching::Pair>& getPairs() const { return matching.getPairs(); }

  /// Chooses among all pairs that pass the gates. Clean detections come before those that lie between others, within
  /// each tracks with a confident identity before confident ones before tentative ones, then the lower cost.
  /// @param isInbetween By detection.
  void match(const std::vector<ObjectTrack*>& tracks, DetectionRange detections, const std::vector<char>& isInbetween);

  /// The detection that a track takes, or `GreedyMatching::kNone`.
  std::uint32_t detectionOf(std::uint32_t track) const { return matching.partnerOf(track); }
  bool isLeft(std::uint32_t detection) const { return matching.isFree(detection); }
  bool isAccepted(const GreedyMatching::Pair& pair) const { return matching.isAccepted(pair); }
  const GreedyMatching& getMatching() const { return matching; }
  const LabelTable& getLabels() const { return index.getLabels(); }

 private:
  void prepare(DetectionRange detections);

  /// Calls visit(detection, cost) for the wanted ones that pass the track's gates.
  template <class IsWanted, class Visit>
  void visitDetectionsOf(const ObjectTrack& track, DetectionRange detections, IsWanted isWanted, Visit visit);

  /// Calls visit(track, cost) for the wanted ones whose gates the detection passes.
  template <class IsWanted, class Visit>
  void visitTracksOf(const std::vector<ObjectTrack*>& tracks, DetectionRange detections, std::uint32_t detection,
                     IsWanted isWanted, Visit visit);

  const TrackerParams& params;
  DetectionIndex index;                          // by the lower left corner of the box
  TrackIndex trackIndex;                         // where a detection is to find its tracks
  std::vector<std::uint32_t> trackLabels;        // by track, when that is filled
  std::vector<std::optional<Feature>> features;  // by detection
  GreedyMatching matching;
};

/// Which lost track each newly confident one revives, cheapest first; see `tryAssociateTrack`.
void matchRevivals(const std::vector<ObjectTrack*>& inactive, const std::vector<ObjectTrack*>& pending,
                   GreedyMatching& matching);

/// Gives a track a confident identity; one that may not have it is reported as a fault.
void qualify(ObjectTrack& track, unsigned long long timestamp);

}  // namespace nivra::reid
