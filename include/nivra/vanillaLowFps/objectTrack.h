#pragma once

/// @file
/// One object followed by the low-frame-rate tracker.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "nivra/export.h"
#include "nivra/vanilla/objectTrack.h"

namespace nivra::vanillaLowFps {

/// The vanilla track, except that
/// 1. its prediction can inflate the process noise of fast axes,
/// 2. detections labelled "human" may lie 1.7 widths to the side, whatever `widthFactorGating` says,
/// 3. two best classes that are both vehicles add up to a higher score.
///
/// Whatever is not commented here is as in `vanilla::ObjectTrack`.
class NIVRA_EXPORT ObjectTrack {
 public:
  /// @copydoc vanilla::ObjectTrack::ObjectTrack(const ObjectDetection&, int, unsigned long long, const TrackerParams&)
  ObjectTrack(const ObjectDetection& detection, int trackId, unsigned long long timestamp,
              const vanilla::TrackerParams& trackerParams);
  ObjectTrack(const ObjectDetection&, int, unsigned long long, const vanilla::TrackerParams&&) = delete;

  /// @param useVelocityNoise Whether `getProcessNoiseFactors` may inflate the process noise.
  void predict(unsigned long long timestamp, bool useVelocityNoise);

  /// Factors on the process noise of centre x, centre y, width and height: 6 for centre x above a horizontal
  /// speed of 0.3 picture units per second, 6 for the others above a vertical speed of 0.2, else 1.
  std::vector<float> getProcessNoiseFactors(bool useVelocityNoise) const;

  /// @copydoc vanilla::ObjectTrack::canAssociate(const ObjectDetection&, const LabelAssociations&) const
  bool canAssociate(const ObjectDetection& detection, const LabelAssociations& labelAssociations) const;

  /// Adds a third of the second class's score to the track's score when both best classes are vehicles and
  /// the best is below 65 percent. The class scores themselves don't change.
  void updateClassInfo(const ObjectDetection& detection);

  /// @copydoc vanilla::ObjectTrack::update
  void update(const ObjectDetection& detection, unsigned long long timestamp);

  /// @copydoc vanilla::ObjectTrack::observationLikelihood
  float observationLikelihood(const ObjectDetection& detection) const { return track.observationLikelihood(detection); }
  /// @copydoc vanilla::ObjectTrack::updateSmoothedObservationLogLikelihood
  void updateSmoothedObservationLogLikelihood(float logLikelihood) {
    track.updateSmoothedObservationLogLikelihood(logLikelihood);
  }
  /// @copydoc vanilla::ObjectTrack::emptyUpdate
  void emptyUpdate() { track.emptyUpdate(); }
  /// @copydoc vanilla::ObjectTrack::isExpired
  bool isExpired() const { return track.isExpired(); }
  /// @copydoc vanilla::ObjectTrack::isConfident
  bool isConfident() const { return track.isConfident(); }
  /// @copydoc vanilla::ObjectTrack::updateBox
  void updateBox(const Box& box) { track.updateBox(box); }
  /// @copydoc vanilla::ObjectTrack::updateObjectnessScaling
  void updateObjectnessScaling(const ObjectDetection& detection) { track.updateObjectnessScaling(detection); }
  /// @copydoc vanilla::ObjectTrack::createStateString
  std::string createStateString() const { return track.createStateString(); }
  /// @copydoc vanilla::ObjectTrack::reportTrack
  TrackedObjectDetection reportTrack() const { return track.reportTrack(); }
  /// @copydoc vanilla::ObjectTrack::reportDebugTrack
  internal::DebugTrack reportDebugTrack() const { return track.reportDebugTrack(); }

  /// @copydoc vanilla::ObjectTrack::getId
  int getId() const { return track.getId(); }
  /// @copydoc vanilla::ObjectTrack::isTentative
  bool isTentative() const { return track.isTentative(); }
  /// @copydoc vanilla::ObjectTrack::getLabel
  const std::string& getLabel() const { return track.getLabel(); }
  /// @copydoc vanilla::ObjectTrack::getPredictionTimestamp
  unsigned long long getPredictionTimestamp() const { return track.getPredictionTimestamp(); }
  /// @copydoc vanilla::ObjectTrack::getBoxFilter
  const KalmanBoxFilter& getBoxFilter() const { return track.getBoxFilter(); }
  /// The filtered box, not clamped.
  Box getBox() const { return track.getBoxFilter().getBox(); }
  /// @copydoc vanilla::ObjectTrack::getClampedBox
  Box getClampedBox() const { return track.getClampedBox(); }

  /// @name For the tracker alone
  /// @{
  NIVRA_HIDDEN ObjectTrack(const ObjectDetection& detection, int trackId, unsigned long long timestamp,
                           const vanilla::TrackerParams& trackerParams,
                           std::shared_ptr<const KalmanBoxParams> filterParams);
  NIVRA_HIDDEN void predict(unsigned long long timestamp, bool useVelocityNoise, TimeStep& step);
  /// Writes over a report, of any kind.
  template <class Report>
  void report(Report& target) const {
    track.report(target);
  }
  float getSmoothedObservationLogLikelihood() const { return track.getSmoothedObservationLogLikelihood(); }
  /// Whether any of the process noise factors would not be 1.
  NIVRA_HIDDEN bool isFast() const;
  /// @}

 private:
  template <class Archive>
  friend void fields(Archive& archive, ObjectTrack& track);

  NIVRA_HIDDEN std::array<float, 4> processNoiseFactors(bool useVelocityNoise) const;
  NIVRA_HIDDEN void addVehicleBonus();

  vanilla::ObjectTrack track;
};

}  // namespace nivra::vanillaLowFps
