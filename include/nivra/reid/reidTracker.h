#pragma once

/// @file
/// The re-identification tracker: motion, overlap and appearance; people who come back keep their identity.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "nivra/export.h"
#include "nivra/motionTrackerServer.h"
#include "nivra/objectTracker.h"
#include "nivra/reid/objectTrack.h"
#include "nivra/trackerParams.h"

namespace nivra::reid {

/// Associates detections with active tracks by overlap and appearance, and lets newly confident tracks revive
/// lost ones whose galleries match.
///
/// `getTracks` hides lost (inactive) tracks; their identities end only when they expire, and a revival brings
/// them back. `getDebugTracks` shows every track.
class NIVRA_EXPORT ReidTracker final : public ObjectTracker {
 public:
  /// Copies both arguments and subscribes to the camera motion server of this moment, if there is one.
  ReidTracker(const TrackerParams& params, const LabelAssociations& associations);
  /// The same, but subscribes to this server, or to none if it is null.
  ReidTracker(const TrackerParams& params, const LabelAssociations& associations, MotionTrackerServer* motionServer);
  ReidTracker(const ReidTracker&) = delete;
  ReidTracker& operator=(const ReidTracker&) = delete;
  ~ReidTracker() override;

  /// Sets the `inbetween` flag of detections that lie between two others.
  TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) override;
  /// The same for `count` detections side by side, wherever they are kept; no flag of theirs is set.
  TrackUpdateResult update(const ObjectDetection* detections, std::size_t count, unsigned long long timestamp);
  std::vector<TrackedObjectDetection> getTracks() const override;
  std::vector<internal::DebugTrack> getDebugTracks() const override;
  void getTracks(std::vector<TrackReport>& reports) const override;
  void getDebugTracks(std::vector<internal::DebugTrack>& reports) const override;
  void explainTo(Explainer* explainer) override;
  void saveState(std::string& bytes) const override;
  std::uint64_t configurationDigest() const override;

  /// @name The steps of one frame
  /// @{

  /// Moves every track to `timestamp` (nanoseconds).
  void predict(unsigned long long timestamp);
  /// The frame's matching and life-cycle work.
  TrackUpdateResult updateTracks(std::vector<ObjectDetection>& detections, unsigned long long timestamp);
  /// Starts one track per detection that does not lie between two others.
  void addNewTracks(const std::set<const ObjectDetection*>& detections, unsigned long long timestamp);
  /// Removes the expired tracks and returns their identities.
  std::set<int> pruneExpiredTracks();
  /// Identities of the tracks whose box overlaps another track of the same label. Inactive tracks count while
  /// they are lost for less than `inactiveAge` + `inactiveOverlapExtraTime`.
  static std::set<int> getOverlappingTracks(const std::vector<ObjectTrack>& tracks, unsigned long long timestamp,
                                            const TrackerParams& params);
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

}  // namespace nivra::reid
