#pragma once

/// @file
/// The vanilla tracker for cameras that deliver frames rarely.

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "nivra/associationCandidate.h"
#include "nivra/export.h"
#include "nivra/motionTrackerServer.h"
#include "nivra/objectTracker.h"
#include "nivra/trackerParams.h"
#include "nivra/vanillaLowFps/objectTrack.h"

namespace nivra::vanillaLowFps {

/// Its cost is minus the observation likelihood.
using AssociationCandidate = nivra::AssociationCandidate<ObjectTrack>;

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
  /// @copydoc vanilla::VanillaTracker::VanillaTracker(const TrackerParams&, const LabelAssociations&)
  VanillaLowFpsTracker(const vanilla::TrackerParams& params, const LabelAssociations& associations);
  /// @copydoc vanilla::VanillaTracker::VanillaTracker(const TrackerParams&, const LabelAssociations&,
  /// MotionTrackerServer*)
  VanillaLowFpsTracker(const vanilla::TrackerParams& params, const LabelAssociations& associations,
                       MotionTrackerServer* motionServer);
  VanillaLowFpsTracker(const VanillaLowFpsTracker&) = delete;
  VanillaLowFpsTracker& operator=(const VanillaLowFpsTracker&) = delete;
  ~VanillaLowFpsTracker() override;

  TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) override;
  std::vector<TrackedObjectDetection> getTracks() const override;
  std::vector<internal::DebugTrack> getDebugTracks() const override;
  void getTracks(std::vector<TrackReport>& reports) const override;
  void getDebugTracks(std::vector<internal::DebugTrack>& reports) const override;
  void explainTo(Explainer* explainer) override;
  void saveState(std::string& bytes) const override;
  std::uint64_t configurationDigest() const override;

  /// @copydoc vanilla::VanillaTracker::predict
  void predict(unsigned long long timestamp);
  /// @copydoc vanilla::VanillaTracker::associate
  std::vector<AssociationCandidate> associate(const std::vector<ObjectDetection>& detections);
  /// @copydoc vanilla::VanillaTracker::updateTracks
  void updateTracks(const std::vector<ObjectDetection>& detections, unsigned long long timestamp);
  /// @copydoc vanilla::VanillaTracker::updateNonMatchedTracks
  void updateNonMatchedTracks(const std::set<ObjectTrack*>& unmatchedTracks);
  /// @copydoc vanilla::VanillaTracker::addNewTracks
  void addNewTracks(const std::set<const ObjectDetection*>& detections, unsigned long long timestamp);
  /// @copydoc vanilla::VanillaTracker::pruneExpiredTracks
  std::set<int> pruneExpiredTracks();
  /// @copydoc vanilla::VanillaTracker::cameraMovedCallback
  static void cameraMovedCallback(MotionTrackerServer* server, void* userData);

  /// Identities of the tracks found overlapping at the latest `update`.
  std::set<int> getOverlappingTrackIds() const;

  /// For the factory alone: what a stored state holds beside the configuration.
  template <class Archive>
  NIVRA_HIDDEN void fields(Archive& archive);

 private:
  struct Body;
  std::unique_ptr<Body> body;
};

}  // namespace nivra::vanillaLowFps
