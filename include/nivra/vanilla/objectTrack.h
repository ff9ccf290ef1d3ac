#pragma once

/// @file
/// One object followed by the vanilla tracker.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "nivra/attributeFilter.h"
#include "nivra/export.h"
#include "nivra/kalmanBoxFilter.h"
#include "nivra/objectDetection.h"
#include "nivra/objectTracker.h"
#include "nivra/timeStep.h"
#include "nivra/trackedObjectDetection.h"
#include "nivra/trackerParams.h"

namespace nivra::vanilla {

/// A box filter, class scores, attribute scores, and one number that decides the track's fate: the smoothed
/// log-likelihood of its observations. Confident and expired are that number against two thresholds.
///
/// Per frame: `predict`, then for pairs `canAssociate` and `observationLikelihood`, then exactly one of
/// `update` and `emptyUpdate`. Timestamps are nanoseconds, scores percent.
///
/// A value type that points at its tracker's parameters, which must outlive it; its box filter has a copy of its own.
class NIVRA_EXPORT ObjectTrack {
 public:
  /// Starts a track from its first detection.
  ObjectTrack(const ObjectDetection& detection, int trackId, unsigned long long timestamp,
              const TrackerParams& trackerParams);
  /// A temporary would not outlive the track.
  ObjectTrack(const ObjectDetection&, int, unsigned long long, const TrackerParams&&) = delete;

  /// Moves the track to a newer time. A timestamp that is not newer is reported as a fault and changes
  /// nothing.
  void predict(unsigned long long timestamp);

  /// Density of the detection's box under the prediction.
  float observationLikelihood(const ObjectDetection& detection) const;

  /// Moves the smoothed log-likelihood towards `logLikelihood`, 2.2 per second of the latest prediction
  /// interval.
  void updateSmoothedObservationLogLikelihood(float logLikelihood);

  /// Ages the track by a frame in which it got no detection.
  void emptyUpdate();

  /// Whether the smoothed log-likelihood is below `expirationLikelihoodThreshold`.
  bool isExpired() const;

  /// Whether the smoothed log-likelihood has reached `confidentLikelihoodThreshold`.
  bool isConfident() const;

  /// Blends the detection's class scores in and chooses the best label. Among equal scores the label that
  /// sorts first wins; a track that has never seen a class score keeps its label and score.
  void updateClassInfo(const ObjectDetection& detection);

  /// Puts the filtered box at `box`; velocities and covariances stay.
  void updateBox(const Box& box);

  /// Whether the detection may be matched to this track: label, centre offsets, size ratios, filter gate.
  bool canAssociate(const ObjectDetection& detection, const LabelAssociations& labelAssociations) const;

  /// Sets the filter's observation noise from the detection's objectness. Does nothing when the detection
  /// gives none, when the track's label is not among the objectness classes, or when there are no settings for
  /// the detection's label.
  void updateObjectnessScaling(const ObjectDetection& detection);

  /// Takes a matched detection in. A timestamp other than the latest prediction's is reported as a fault
  /// and changes nothing.
  void update(const ObjectDetection& detection, unsigned long long timestamp);

  /// The clamped box as text, for diagnostics.
  std::string createStateString() const;

  /// What `getTracks` reports of it.
  TrackedObjectDetection reportTrack() const;
  /// What `getDebugTracks` reports of it.
  internal::DebugTrack reportDebugTrack() const;

  /// Its identity.
  int getId() const { return id; }
  /// The class that its detections scored best.
  const std::string& getLabel() const { return label; }
  /// Smoothed score of the label, percent.
  float getScore() const { return score; }
  /// Smoothed scores (percent) of all labels that the detections of this track listed, by ascending label.
  const std::vector<Classification>& getClassScores() const { return classScores; }
  /// True until an update lifts the smoothed log-likelihood above `confidentLikelihoodThreshold` for the
  /// first time.
  bool isTentative() const { return tentative; }
  /// When the track was predicted to last, or else started; `update` takes detections of this time alone.
  unsigned long long getPredictionTimestamp() const { return predictionTimestamp; }
  /// Where it is, and how fast.
  const KalmanBoxFilter& getBoxFilter() const { return boxFilter; }
  /// The filtered box, each coordinate clamped to [-1, 1].
  Box getClampedBox() const;

  /// @name For the trackers and their tracks alone
  /// @{

  /// With a box filter whose parameters several tracks share.
  NIVRA_HIDDEN ObjectTrack(const ObjectDetection& detection, int trackId, unsigned long long timestamp,
                           const TrackerParams& trackerParams, std::shared_ptr<const KalmanBoxParams> filterParams);
  /// `predict` for one of many tracks: `step` stays with them, and is made anew only for a track whose step differs.
  /// @param processNoiseScales As for `KalmanBoxFilter::predict`.
  NIVRA_HIDDEN void predict(unsigned long long timestamp, TimeStep& step,
                            const std::array<float, 4>& processNoiseScales = {1.0F, 1.0F, 1.0F, 1.0F});
  /// `canAssociate` with another limit in place of `widthFactorGating`.
  NIVRA_HIDDEN bool canAssociate(const ObjectDetection& detection, const LabelAssociations& labelAssociations,
                                 float widthFactorLimit) const;
  /// Write over a report.
  NIVRA_HIDDEN void report(TrackedObjectDetection& target) const;
  NIVRA_HIDDEN void report(TrackReport& target) const;
  NIVRA_HIDDEN void report(internal::DebugTrack& target) const;
  /// Replaces the score (percent) until the next update chooses a label.
  void setScore(float newScore) { score = newScore; }
  const TrackerParams& getParams() const { return *params; }
  float getSmoothedObservationLogLikelihood() const { return smoothedObservationLogLikelihood; }
  /// @}

 private:
  template <class Archive>
  friend void fields(Archive& archive, ObjectTrack& track);

  std::int32_t id;
  std::int32_t lastDetectionId;
  KalmanBoxFilter boxFilter;
  float score;
  std::string label;
  std::uint64_t predictionTimestamp;
  const TrackerParams* params;
  std::vector<Classification> classScores;  // by ascending label
  float predictionInterval = 0.0F;          // seconds between the two latest predictions
  float smoothedObservationLogLikelihood = 0.0F;
  bool tentative = true;
  AttributeFilter attributeFilter;
};

}  // namespace nivra::vanilla
