#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "core/cameraMotionSubscription.h"
#include "core/detectionRange.h"
#include "core/trackSteps.h"
#include "nivra/associationCandidate.h"
#include "nivra/objectTracker.h"
#include "nivra/timeStep.h"
#include "nivra/trackerParams.h"
#include "states/trackerState.h"
#include "vanilla/likelihoodExplaining.h"
#include "vanilla/likelihoodMatching.h"

namespace nivra {

/// What the trackers that match by observation likelihood hold, and the steps of a frame that they do alike.
template <class Track>
class LikelihoodBody {
 public:
  /// @param widthFactorLimitOf Gives the limit on the horizontal offset of a detection by its label.
  template <class WidthFactorLimitOf>
  LikelihoodBody(const vanilla::TrackerParams& trackerParams, const LabelAssociations& associations,
                 RuleSection section, WidthFactorLimitOf widthFactorLimitOf, MotionTrackerServer::Callback cameraMoved,
                 void* tracker, MotionTrackerServer* motionServer)
      : configuration{trackerParams, associations},
        matching(configuration.params, associations, widthFactorLimitOf),
        explaining(configuration.params, section),
        cameraMotion(cameraMoved, tracker, motionServer) {}
  // The tracks point at the parameters, and so does the matching.
  LikelihoodBody(const LikelihoodBody&) = delete;
  LikelihoodBody& operator=(const LikelihoodBody&) = delete;

  std::vector<Track>& getTracks() { return tracks; }
  const std::vector<Track>& getTracks() const { return tracks; }
  /// The step of the frame before, which most cameras' next frames have as well.
  TimeStep& getStep() { return step; }
  const LabelTable& getLabels() const { return matching.getLabels(); }

  /// Tracks that are matched take their detections in, the others age, and detections left over start tracks.
  void updateTracks(DetectionRange detections, unsigned long long timestamp) {
    matching.match(tracks, detections);
    explaining.explainMatching(tracks, detections, matching);
    for (std::uint32_t i = 0; i < tracks.size(); ++i) {
      const std::uint32_t detection = matching.detectionOf(i);
      if (detection == GreedyMatching::kNone) {
        tracks[i].emptyUpdate();
      } else {
        tracks[i].update(detections[detection], timestamp);
      }
    }
    for (std::uint32_t i = 0; i < detections.size(); ++i) {
      if (matching.isLeft(i)) startTrack(detections[i], timestamp);
    }
    explaining.explainLives(tracks, matching, timestamp);
  }

  void startTrack(const ObjectDetection& detection, unsigned long long timestamp) {
    const vanilla::TrackerParams& params = configuration.params;
    // Lent, not copied: no track outlives this body.
    const std::shared_ptr<const KalmanBoxParams> filterParams(std::shared_ptr<void>(), &params.kalmanParams);
    tracks.emplace_back(detection, takeNextId(nextId), timestamp, params, filterParams);
  }

  /// All pairs that pass the gates: detection by detection, within each track by track.
  std::vector<AssociationCandidate<Track>> associate(const std::vector<ObjectDetection>& detections) {
    matching.findPairs(tracks, DetectionRange(detections));
    std::vector<AssociationCandidate<Track>> candidates;
    for (const GreedyMatching::Pair& pair : matching.getPairs()) {
      candidates.push_back({&tracks[pair.first], &detections[pair.second], matching.costOf(tracks, pair)});
    }
    // Stable, so that the tracks of one detection keep their order.
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const auto& a, const auto& b) { return a.detection < b.detection; });
    return candidates;
  }

  void explainTo(Explainer* explainer) { explaining.tell(explainer); }

  const Configuration<vanilla::TrackerParams>& getConfiguration() const { return configuration; }

  /// What a stored state holds beside the configuration.
  template <class Archive>
  void fields(Archive& archive) {
    archive.list(
        tracks, [this] { startTrack(ObjectDetection(), 0); }, [&](Track& track) { archive(track); });
    archive(nextId);
    archive.require(nextId >= 0, "a negative identity");
  }

  void followCamera(MotionTrackerServer& server) { shiftByCameraMotion(tracks, server, cameraMotion.watch()); }

 private:
  const Configuration<vanilla::TrackerParams> configuration;
  std::vector<Track> tracks;  // oldest first
  TimeStep step;
  std::int32_t nextId = 0;
  LikelihoodMatching<Track> matching;
  LikelihoodExplaining<Track> explaining;
  CameraMotionSubscription cameraMotion;
};

}  // namespace nivra
