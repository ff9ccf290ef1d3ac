#pragma once

/// @file
/// The vanilla tracker for cameras that deliver frames rarely.

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "nivra/export.h"
#include "nivra/motionTrackerServer.h"
#include "nivra/objectTracker.h"
#include "nivra/trackerParams.h"
#include "nivra/vanillaLowFps/objectTrack.h"

namespace nivra {
class DetectionRange;
class OverlapSearch;
}  // namespace nivra

namespace nivra::vanillaLowFps {

/// One admissible pairing of a track with a detection.
struct AssociationCandidate {
  ObjectTrack* track;
  const ObjectDetection* detection;
  float cost;  ///< Minus the observation likelihood: the lower, the better the fit.
};

/// The vanilla tracker, except that
/// 1. its tracks are those of this namespace, which predict with more process noise while they move fast,
/// 2. people, and tracks that overlapped an associable neighbour in the frame before, predict without it.
///
/// Every `update` reports a fault (see `setFaultHandler`) for each track of a label without associations and each later
/// track: 100 such tracks alone make 4950.
///
/// Whatever is not commented here is as in `vanilla::VanillaTracker`.
class NIVRA_EXPORT VanillaLowFpsTracker final : public ObjectTracker {
 public:
  VanillaLowFpsTracker(const vanilla::TrackerParams& trackerParams, const LabelAssociations& associations);
  VanillaLowFpsTracker(const vanilla::TrackerParams& trackerParams, const LabelAssociations& associations,
                       MotionTrackerServer* motionServer);
  VanillaLowFpsTracker(const VanillaLowFpsTracker&) = delete;
  VanillaLowFpsTracker& operator=(const VanillaLowFpsTracker&) = delete;
  ~VanillaLowFpsTracker() override;

  TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) override;
  std::vector<TrackedObjectDetection> getTracks() const override;
  std::vector<internal::DebugTrack> getDebugTracks() const override;

  void predict(unsigned long long timestamp);
  std::vector<AssociationCandidate> associate(const std::vector<ObjectDetection>& detections);
  void updateTracks(const std::vector<ObjectDetection>& detections, unsigned long long timestamp);
  void updateNonMatchedTracks(const std::set<ObjectTrack*>& unmatchedTracks);
  void addNewTracks(const std::set<const ObjectDetection*>& detections, unsigned long long timestamp);
  std::set<int> pruneExpiredTracks();
  static void cameraMovedCallback(MotionTrackerServer* server, void* userData);

  /// Identities of the tracks found overlapping at the latest `update`.
  std::set<int> getOverlappingTrackIds() const;

 private:
  void matchAndStart(DetectionRange detections, unsigned long long timestamp);
  void startTrack(const ObjectDetection& detection, unsigned long long timestamp);
  /// Notes where the tracks are. A label without associations is reported as a fault, once for every later track.
  void noteTracks();
  /// Lists the identities of the tracks, as noted, whose box overlapped that of a track whose label they may take.
  void findOverlappingTracks(std::vector<int>& ids) const;

  struct NotedTrack {
    int id;
    std::uint32_t label;
  };

  vanilla::TrackerParams params;    // every track points at this copy
  std::vector<ObjectTrack> tracks;  // oldest first
  std::int32_t nextId = 0;
  std::unique_ptr<LikelihoodMatching<ObjectTrack>> matching;
  // Which tracks overlapped at the latest update matters only to fast ones at the next prediction. Until then, what is
  // needed to find out is kept: boxes in the search, the rest beside them.
  std::unique_ptr<OverlapSearch> overlaps;
  std::vector<NotedTrack> notedTracks;
  std::vector<int> overlappingTrackIds;
  CameraMotionSubscription cameraMotion;
};

}  // namespace nivra::vanillaLowFps
