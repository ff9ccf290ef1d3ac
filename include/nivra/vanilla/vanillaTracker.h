#pragma once

/// @file
/// The vanilla tracker: motion and box size only.

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "nivra/export.h"
#include "nivra/motionTrackerServer.h"
#include "nivra/objectTracker.h"
#include "nivra/trackerParams.h"
#include "nivra/vanilla/objectTrack.h"

namespace nivra {
class DetectionRange;
namespace hybrid {
class HybridTracker;
}
}  // namespace nivra

namespace nivra::vanilla {

/// One admissible pairing of a track with a detection.
struct AssociationCandidate {
  ObjectTrack* track;
  const ObjectDetection* detection;
  float cost;  ///< Minus the observation likelihood: the lower, the better the fit.
};

/// Matches detections to tracks greedily by observation likelihood, tracks once confirmed before
/// tentative ones, and starts a track for every detection left over.
///
/// Every track is reported, confident or not.
class NIVRA_EXPORT VanillaTracker final : public ObjectTracker {
 public:
  /// Copies both arguments and subscribes to the camera motion server of this moment, if there is one.
  VanillaTracker(const TrackerParams& trackerParams, const LabelAssociations& associations);
  /// The same, but subscribes to this server, or to none if it is null.
  VanillaTracker(const TrackerParams& trackerParams, const LabelAssociations& associations,
                 MotionTrackerServer* motionServer);
  VanillaTracker(const VanillaTracker&) = delete;
  VanillaTracker& operator=(const VanillaTracker&) = delete;
  ~VanillaTracker() override;

  TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) override;
  std::vector<TrackedObjectDetection> getTracks() const override;
  std::vector<internal::DebugTrack> getDebugTracks() const override;

  /// @name The steps of one frame, in their order
  /// @{
  /// Moves every track to `timestamp` (nanoseconds).
  void predict(unsigned long long timestamp);
  /// All admissible pairs, detection by detection in their order, within each track by track.
  std::vector<AssociationCandidate> associate(const std::vector<ObjectDetection>& detections);
  /// Matches, updates the matched tracks, ages the others and starts new ones.
  void updateTracks(const std::vector<ObjectDetection>& detections, unsigned long long timestamp);
  /// Ages tracks that got no detection.
  void updateNonMatchedTracks(const std::set<ObjectTrack*>& unmatchedTracks);
  /// Starts one track per detection.
  void addNewTracks(const std::set<const ObjectDetection*>& detections, unsigned long long timestamp);
  /// Removes the expired tracks and returns their identities.
  std::set<int> pruneExpiredTracks();
  /// @}

  /// Moves the tracks after a camera movement; `userData` is the tracker.
  static void cameraMovedCallback(MotionTrackerServer* server, void* userData);

 private:
  // Hands over its own part of the frame's detections.
  friend class hybrid::HybridTracker;

  TrackUpdateResult updateFrame(DetectionRange detections, unsigned long long timestamp);
  void matchAndStart(DetectionRange detections, unsigned long long timestamp);
  void startTrack(const ObjectDetection& detection, unsigned long long timestamp);

  TrackerParams params;             // every track points at this copy
  std::vector<ObjectTrack> tracks;  // oldest first
  std::int32_t nextId = 0;
  std::unique_ptr<LikelihoodMatching<ObjectTrack>> matching;
  CameraMotionSubscription cameraMotion;
};

}  // namespace nivra::vanilla
