#pragma once

/// @file
/// One object followed by the re-identification tracker.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "nivra/attributeFilter.h"
#include "nivra/export.h"
#include "nivra/kalmanBoxFilter4D.h"
#include "nivra/objectDetection.h"
#include "nivra/objectTracker.h"
#include "nivra/reid/featureGallery.h"
#include "nivra/timeStep.h"
#include "nivra/trackedObjectDetection.h"
#include "nivra/trackerParams.h"

namespace nivra::reid {

/// Life cycle of a track. The numbers are those of `internal::DebugTrack::state`.
enum class TrackState : std::int32_t {
  Inactive = 0,     ///< Lost after having had a confident identity; not reported; may be revived.
  Tentative = 1,    ///< New; reported as not confident.
  Confident = 2,    ///< Confirmed by time; waits for a confident identity.
  ConfidentId = 3,  ///< Confirmed with an identity of its own, or revived.
  Expired = 4,      ///< To be removed at the end of the frame.
};

/// A joint box filter, attribute scores, a gallery of at most 50 appearance feature vectors, and a life cycle
/// that the tracker drives once per frame.
///
/// Timestamps are nanoseconds, scores percent. A value type that points at its tracker's parameters, which
/// must outlive it, and during a frame at the detection that it took.
class NIVRA_EXPORT ObjectTrack {
 public:
  /// Of two feature vectors, 0 for the same.
  using Distance = std::function<float(const std::vector<float>&, const std::vector<float>&)>;

  /// Starts a track from its first detection, whose feature it stores.
  ObjectTrack(const ObjectDetection& firstDetection, int trackId, unsigned long long timestamp,
              const TrackerParams& trackerParams);
  /// A temporary would not outlive the track.
  ObjectTrack(const ObjectDetection&, int, unsigned long long, const TrackerParams&&) = delete;

  /// Moves the track to a newer time. A timestamp that is not newer is reported as a fault and changes
  /// nothing.
  void predict(unsigned long long timestamp);

  /// Takes the frame's detection in; the label stays. A timestamp other than the latest prediction's is
  /// reported as a fault and changes nothing.
  void update(const ObjectDetection& newDetection, unsigned long long timestamp, bool storeFeature);

  /// Ages the track by a frame in which it got no detection, and advances its state.
  void emptyUpdate(unsigned long long timestamp);

  /// Whether the label-association map admits the detection's label to this track.
  bool hasAdmissibleLabel(const ObjectDetection& candidate, const LabelAssociations& labelAssociations) const;
  /// Whether the detection passes the box filter's gate.
  bool canAssociateKalman(const ObjectDetection& candidate) const;
  /// Whether the detection is near enough: by appearance if both sides have one, else by overlap.
  bool canAssociateCosts(const ObjectDetection& candidate, float iouDistance, float featureDistance) const;
  /// Whether a gallery distance is small enough for a revival.
  bool canReviveCost(float cost) const;

  /// Time without detection after which a `Confident` track ends, nanoseconds.
  unsigned long long getConfidentTrackExpiryAge() const;

  /// Counts a comparison of this track with a candidate for revival.
  void registerReviveAttempt();

  /// Whether the track may get a confident identity: `Confident`, updated at `timestamp`, old enough, and
  /// with enough features.
  bool canGetConfidentId(unsigned long long timestamp) const;

  /// Gives the track a confident identity.
  /// @throws std::runtime_error naming the track if it may not have one.
  void makeConfidentId(unsigned long long timestamp);

  /// Smallest cosine distance from the gallery; `defaultCosineDistance` while the gallery is empty.
  float computeMinDistance(const std::vector<float>& feature) const;

  /// 1 - IoU of the filtered box and `box`.
  float computeIouDistance(const Box& box) const;

  /// The `reviveQuantile` quantile of the pairwise distances of two galleries; `defaultCosineDistance` if one
  /// is empty.
  float computeTrackTrackDistance(const ObjectTrack& other, Distance distance) const;
  /// The same with the cosine distance.
  float computeTrackTrackDistance(const ObjectTrack& other) const;

  /// Lets this lost track go on with what `other`, a younger track of the same object, has gathered; `other`
  /// expires. Both must be predicted to `timestamp`.
  /// @throws std::runtime_error naming both tracks if `other` took no detection in this frame.
  void revive(ObjectTrack& other, unsigned long long timestamp);

  /// Puts the filtered box at `box`; velocities and covariance stay.
  void updateBox(const Box& box);

  /// Adds a vector to the gallery; the oldest ones fall out.
  void addFeature(const std::vector<float>& feature);

  /// What `getTracks` reports of it.
  TrackedObjectDetection reportTrack() const;
  /// What `getDebugTracks` reports of it.
  internal::DebugTrack reportDebugTrack() const;

  /// The clamped box as text, for diagnostics.
  std::string createStateString() const;

  /// For code that takes any kind of track: these are weighed by overlap and appearance, and have no likelihood.
  /// @throws std::logic_error "Function not yet implemented".
  float observationLikelihood(const ObjectDetection& candidate) const;

  /// Its identity.
  int getId() const { return id; }
  /// That of its first detection.
  const std::string& getLabel() const { return label; }
  /// Where it is in its life.
  TrackState getState() const { return state; }
  /// Whether its life has ended.
  bool isExpired() const { return state == TrackState::Expired; }
  /// Whether `getTracks` shows the track: all but inactive and expired ones.
  bool isReported() const;
  /// Time of its first detection, nanoseconds.
  unsigned long long getCreationTimestamp() const { return creationTimestamp; }
  /// Time of the detection that it took last, nanoseconds.
  unsigned long long getUpdateTimestamp() const { return updateTimestamp; }
  /// The filtered box, not clamped.
  Box getBox() const { return boxFilter.getBox(); }
  /// Where it is, and how fast.
  const KalmanBoxFilter4D& getBoxFilter() const { return boxFilter; }
  /// The filtered box, each coordinate clamped to [-1, 1].
  Box getClampedBox() const;

  /// The detection that the track took in the running frame, or null.
  const ObjectDetection* getDetection() const { return detection; }
  /// Forgets the frame's detection, which the host is free to destroy after the frame.
  void releaseDetection() { detection = nullptr; }

  /// @name For the tracker alone
  /// @{

  /// `predict` for one of many tracks: `step` stays with them, and is made anew only for a track whose step differs.
  NIVRA_HIDDEN void predict(unsigned long long timestamp, TimeStep& step);
  /// Write over a report.
  NIVRA_HIDDEN void report(TrackedObjectDetection& target) const;
  NIVRA_HIDDEN void report(TrackReport& target) const;
  NIVRA_HIDDEN void report(internal::DebugTrack& target) const;
  /// `computeMinDistance` for a vector whose norm is known.
  NIVRA_HIDDEN float minDistanceOf(const Feature& feature) const;
  bool hasFeatures() const { return !features.empty(); }
  const TrackerParams& getParams() const { return *params; }
  /// What decides when the state changes.
  struct Life;
  NIVRA_HIDDEN Life getLife() const;
  /// @}

 private:
  template <class Archive>
  friend void fields(Archive& archive, ObjectTrack& track);

  /// The quantile of the pairwise distances that decides on a revival.
  NIVRA_HIDDEN float reviveDistance(std::vector<float>& distances) const;

  std::int32_t id;
  const ObjectDetection* detection;
  std::int32_t lastDetectionId;
  std::uint64_t reviveAttempts = 0;  // since the track last took a detection
  KalmanBoxFilter4D boxFilter;
  float score;
  std::string label;
  std::uint64_t creationTimestamp;
  std::uint64_t predictionTimestamp;
  std::uint64_t updateTimestamp;
  const TrackerParams* params;
  AttributeFilter attributeFilter;
  TrackState state = TrackState::Tentative;
  FeatureGallery features;
};

}  // namespace nivra::reid
