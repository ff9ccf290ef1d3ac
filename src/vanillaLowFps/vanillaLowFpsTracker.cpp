#include "nivra/vanillaLowFps/vanillaLowFpsTracker.h"

#include "core/boxGeometry.h"
#include "core/faultReport.h"
#include "core/labels.h"
#include "core/trackSteps.h"
#include "nivra/trackerLogger.h"
#include "vanilla/likelihoodMatching.h"

namespace nivra::vanillaLowFps {

namespace {

constexpr float kOverlapThreshold = 0.4F;  // intersection over union

}  // namespace

VanillaLowFpsTracker::VanillaLowFpsTracker(const vanilla::TrackerParams& trackerParams,
                                           const LabelAssociations& associations)
    : params(trackerParams), labelAssociations(associations), cameraMotion(cameraMovedCallback, this) {}

VanillaLowFpsTracker::~VanillaLowFpsTracker() = default;

TrackUpdateResult VanillaLowFpsTracker::update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  TrackerLogger::getDefaultLogger()->setTimestamp(timestamp);
  predict(timestamp);
  overlappingTrackIds = findOverlappingTracks();
  updateTracks(detections, timestamp);
  return {pruneExpiredTracks(), {}};
}

void VanillaLowFpsTracker::predict(unsigned long long timestamp) {
  for (ObjectTrack& track : tracks) {
    const bool isOverlapping = overlappingTrackIds.count(track.getId()) != 0;
    track.predict(timestamp, track.getLabel() != kPersonLabel && !isOverlapping);
  }
}

std::set<int> VanillaLowFpsTracker::findOverlappingTracks() const {
  std::set<int> found;
  for (auto a = tracks.begin(); a != tracks.end(); ++a) {
    const auto admissible = labelAssociations.find(a->getLabel());
    for (auto b = a + 1; b != tracks.end(); ++b) {
      if (admissible == labelAssociations.end()) {
        reportFault("Got class without known associations: " + a->getLabel());
        continue;
      }
      if (admissible->second.count(b->getLabel()) == 0) continue;
      if (intersectionOverUnion(a->getBox(), b->getBox()) > kOverlapThreshold) {
        found.insert(a->getId());
        found.insert(b->getId());
      }
    }
  }
  return found;
}

std::vector<AssociationCandidate> VanillaLowFpsTracker::associate(const std::vector<ObjectDetection>& detections) {
  return associateByLikelihood<AssociationCandidate>(tracks, detections, labelAssociations);
}

void VanillaLowFpsTracker::updateTracks(const std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  updateTracksByLikelihood(*this, tracks, detections, timestamp);
}

void VanillaLowFpsTracker::updateNonMatchedTracks(const std::set<ObjectTrack*>& unmatchedTracks) {
  for (ObjectTrack* track : unmatchedTracks) track->emptyUpdate();
}

void VanillaLowFpsTracker::addNewTracks(const std::set<const ObjectDetection*>& detections,
                                        unsigned long long timestamp) {
  for (const ObjectDetection* detection : detections) {
    tracks.emplace_back(*detection, takeNextId(nextId), timestamp, params);
  }
}

std::set<int> VanillaLowFpsTracker::pruneExpiredTracks() { return eraseExpired(tracks); }

std::vector<TrackedObjectDetection> VanillaLowFpsTracker::getTracks() const { return reportTracks(tracks); }

std::vector<internal::DebugTrack> VanillaLowFpsTracker::getDebugTracks() const { return reportDebugTracks(tracks); }

void VanillaLowFpsTracker::cameraMovedCallback(MotionTrackerServer* server, void* userData) {
  if (server == nullptr || userData == nullptr) return;
  auto& tracker = *static_cast<VanillaLowFpsTracker*>(userData);
  shiftByCameraMotion(tracker.tracks, *server, tracker.cameraMotion.watch());
}

}  // namespace nivra::vanillaLowFps
