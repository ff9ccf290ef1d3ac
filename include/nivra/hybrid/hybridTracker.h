#pragma once

/// @file
/// People to a re-identification tracker, everything else to a vanilla tracker.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "nivra/export.h"
#include "nivra/motionTrackerServer.h"
#include "nivra/objectTracker.h"
#include "nivra/trackerParams.h"

namespace nivra::hybrid {

/// Runs a vanilla and a re-identification tracker side by side and merges what they report.
///
/// Detections labelled exactly "human" go to the re-identification tracker. Identities are unique across both:
/// 2n for track n of the vanilla tracker, 2n + 1 for track n of the re-identification tracker, with n modulo
/// 2^30 so that they are never negative.
class NIVRA_EXPORT HybridTracker final : public ObjectTracker {
 public:
  /// Each inner tracker subscribes to the camera motion server of this moment, if there is one.
  HybridTracker(const TrackerParams& params, const LabelAssociations& labelAssociations);
  /// The same, but each subscribes to this server, or to none if it is null.
  HybridTracker(const TrackerParams& params, const LabelAssociations& labelAssociations,
                MotionTrackerServer* motionServer);
  HybridTracker(const HybridTracker&) = delete;
  HybridTracker& operator=(const HybridTracker&) = delete;
  ~HybridTracker() override;

  /// Reorders the detections, people first; nothing else of them changes.
  TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) override;
  std::vector<TrackedObjectDetection> getTracks() const override;
  std::vector<internal::DebugTrack> getDebugTracks() const override;
  void getTracks(std::vector<TrackReport>& reports) const override;
  void getDebugTracks(std::vector<internal::DebugTrack>& reports) const override;
  void explainTo(Explainer* explainer) override;
  void saveState(std::string& bytes) const override;
  std::uint64_t configurationDigest() const override;

  /// For the factory alone: what a stored state holds beside the configuration.
  template <class Archive>
  NIVRA_HIDDEN void fields(Archive& archive);

 private:
  struct Body;
  std::unique_ptr<Body> body;
};

/// Identity of a report.
NIVRA_EXPORT int getId(const TrackedObjectDetection& track);
/// Likewise.
NIVRA_EXPORT int getId(const internal::DebugTrack& track);

/// One list in ascending order of inner identities, vanilla first among equals, with hybrid identities.
/// Provided for `TrackedObjectDetection` and `internal::DebugTrack`.
template <class T>
std::vector<T> mergeTracks(const std::vector<T>& vanillaTracks, const std::vector<T>& reidTracks);

/// @cond
extern template NIVRA_EXPORT std::vector<TrackedObjectDetection> mergeTracks(
    const std::vector<TrackedObjectDetection>&, const std::vector<TrackedObjectDetection>&);
extern template NIVRA_EXPORT std::vector<internal::DebugTrack> mergeTracks(const std::vector<internal::DebugTrack>&,
                                                                           const std::vector<internal::DebugTrack>&);
/// @endcond

}  // namespace nivra::hybrid
