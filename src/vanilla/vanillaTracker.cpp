#include "nivra/vanilla/vanillaTracker.h"

#include "core/detectionRange.h"
#include "core/trackSteps.h"
#include "nivra/trackerLogger.h"
#include "vanilla/likelihoodMatching.h"

namespace nivra::vanilla {

VanillaTracker::VanillaTracker(const TrackerParams& trackerParams, const LabelAssociations& associations)
    : VanillaTracker(trackerParams, associations, MotionTrackerServer::getMotionTrackerServer()) {}

VanillaTracker::VanillaTracker(const TrackerParams& trackerParams, const LabelAssociations& associations,
                               MotionTrackerServer* motionServer)
    : params(trackerParams),
      matching(std::make_unique<LikelihoodMatching<ObjectTrack>>(params, associations)),
      cameraMotion(cameraMovedCallback, this, motionServer) {}

VanillaTracker::~VanillaTracker() = default;

TrackUpdateResult VanillaTracker::update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  return updateFrame(DetectionRange(detections), timestamp);
}

TrackUpdateResult VanillaTracker::updateFrame(DetectionRange detections, unsigned long long timestamp) {
  TrackerLogger::getDefaultLogger()->setTimestamp(timestamp);
  predict(timestamp);
  matchAndStart(detections, timestamp);
  return {pruneExpiredTracks(), {}};
}

void VanillaTracker::predict(unsigned long long timestamp) {
  TimeStep step;
  predictTracks(tracks, [&](ObjectTrack& track) { track.predict(timestamp, step); });
}

void VanillaTracker::updateTracks(const std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  matchAndStart(DetectionRange(detections), timestamp);
}

void VanillaTracker::matchAndStart(DetectionRange detections, unsigned long long timestamp) {
  updateTracksByLikelihood(tracks, detections, timestamp, *matching,
                           [&](const ObjectDetection& detection) { startTrack(detection, timestamp); });
}

std::vector<AssociationCandidate> VanillaTracker::associate(const std::vector<ObjectDetection>& detections) {
  return associateByLikelihood<AssociationCandidate>(tracks, detections, *matching);
}

void VanillaTracker::startTrack(const ObjectDetection& detection, unsigned long long timestamp) {
  tracks.emplace_back(detection, takeNextId(nextId), timestamp, params, lendFilterParams(params));
}

void VanillaTracker::updateNonMatchedTracks(const std::set<ObjectTrack*>& unmatchedTracks) {
  for (ObjectTrack* track : unmatchedTracks) track->emptyUpdate();
}

void VanillaTracker::addNewTracks(const std::set<const ObjectDetection*>& detections, unsigned long long timestamp) {
  for (const ObjectDetection* detection : detections) startTrack(*detection, timestamp);
}

std::set<int> VanillaTracker::pruneExpiredTracks() { return eraseExpired(tracks); }

std::vector<TrackedObjectDetection> VanillaTracker::getTracks() const { return reportTracks(tracks); }

std::vector<internal::DebugTrack> VanillaTracker::getDebugTracks() const { return reportDebugTracks(tracks); }

void VanillaTracker::cameraMovedCallback(MotionTrackerServer* server, void* userData) {
  if (server == nullptr || userData == nullptr) return;
  auto& tracker = *static_cast<VanillaTracker*>(userData);
  shiftByCameraMotion(tracker.tracks, *server, tracker.cameraMotion.watch());
}

}  // namespace nivra::vanilla
