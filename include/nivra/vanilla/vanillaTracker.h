#pragma once

/// @file
/// The vanilla tracker: motion and box size only.

#include <cstddef>
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
#include "nivra/vanilla/objectTrack.h"

namespace nivra::vanilla {

/// Its cost is minus the observation likelihood.
using AssociationCandidate = nivra::AssociationCandidate<ObjectTrack>;

/// Matches detections to tracks greedily by observation likelihood, tracks once confirmed before
/// tentative ones, and starts a track for every detection left over.
///
/// Every track is reported, confident or not.
class NIVRA_EXPORT VanillaTracker final : public ObjectTracker {
 public:
  /// Copies both arguments and subscribes to the camera motion server of this moment, if there is one.
  VanillaTracker(const TrackerParams& params, const LabelAssociations& associations);
  /// The same, but subscribes to this server, or to none if it is null.
  VanillaTracker(const TrackerParams& params, const LabelAssociations& associations, MotionTrackerServer* motionServer);
  VanillaTracker(const VanillaTracker&) = delete;
  VanillaTracker& operator=(const VanillaTracker&) = delete;
  ~VanillaTracker() override;

  TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) override;
  /// The same for `count` detections side by side, wherever they are kept.
  TrackUpdateResult update(const ObjectDetection* detections, std::size_t count, unsigned long long timestamp);
  std::vector<TrackedObjectDetection> getTracks() const override;
  std::vector<internal::DebugTrack> getDebugTracks() const override;
  void getTracks(std::vector<TrackReport>& reports) const override;
  void getDebugTracks(std::vector<internal::DebugTrack>& reports) const override;
  void explainTo(Explainer* explainer) override;
  void saveState(std::string& bytes) const override;
  std::uint64_t configurationDigest() const override;

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

  /// For the hybrid tracker alone: the tracks themselves.
  NIVRA_HIDDEN const std::vector<ObjectTrack>& followed() const;

  /// For the factory alone: what a stored state holds beside the configuration.
  template <class Archive>
  NIVRA_HIDDEN void fields(Archive& archive);

 private:
  struct Body;
  std::unique_ptr<Body> body;
};

}  // namespace nivra::vanilla
