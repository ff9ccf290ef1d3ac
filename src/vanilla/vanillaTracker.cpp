#include "nivra/vanilla/vanillaTracker.h"

#include "core/trackSteps.h"
#include "nivra/trackerLogger.h"
#include "vanilla/likelihoodMatching.h"

namespace nivra::vanilla {

VanillaTracker::VanillaTracker(const TrackerParams& trackerParams, const LabelAssociations& associations)
    : params(trackerParams), labelAssociations(associations), cameraMotion(cameraMovedCallback, this) {}

VanillaTracker::~VanillaTracker() = default;

TrackUpdateResult VanillaTracker::update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  TrackerLogger::getDefaultLogger()->setTimestamp(timestamp);
  predict(timestamp);
  updateTracks(detections, timestamp);
  return {pruneExpiredTracks(), {}};
}

void VanillaTracker::predict(unsigned long long timestamp) {
  for (ObjectTrack& track : tracks) track.predict(timestamp);
}

void VanillaTracker::updateTracks(const std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  updateTracksByLikelihood(*this, tracks, detections, timestamp);
}

std::vector<AssociationCandidate> VanillaTracker::associate(const std::vector<ObjectDetection>& detections) {
  return associateByLikelihood<AssociationCandidate>(tracks, detections, labelAssociations);
}

void VanillaTracker::updateNonMatchedTracks(const std::set<ObjectTrack*>& unmatchedTracks) {
  for (ObjectTrack* track : unmatchedTracks) track->emptyUpdate();
}

void VanillaTracker::addNewTracks(const std::set<const ObjectDetection*>& detections, unsigned long long timestamp) {
  for (const ObjectDetection* detection : detections) {
    tracks.emplace_back(*detection, takeNextId(nextId), timestamp, params);
  }
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
