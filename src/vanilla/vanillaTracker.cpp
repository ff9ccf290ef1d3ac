#include "nivra/vanilla/vanillaTracker.h"

#include <algorithm>

#include "core/greedyMatching.h"
#include "core/trackSteps.h"
#include "nivra/trackerLogger.h"

namespace nivra::vanilla {

namespace {

bool matchedBefore(const AssociationCandidate& a, const AssociationCandidate& b) {
  if (a.track->isTentative() != b.track->isTentative()) return b.track->isTentative();
  return cheaper(a, b);
}

}  // namespace

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
  std::vector<AssociationCandidate> candidates = associate(detections);
  std::sort(candidates.begin(), candidates.end(), matchedBefore);

  auto unmatchedTracks = addressesOf<ObjectTrack*>(tracks);
  auto unmatchedDetections = addressesOf<const ObjectDetection*>(detections);
  matchGreedily(candidates, unmatchedTracks, unmatchedDetections,
                [timestamp](const AssociationCandidate& match) { match.track->update(*match.detection, timestamp); });

  updateNonMatchedTracks(unmatchedTracks);
  addNewTracks(unmatchedDetections, timestamp);
}

std::vector<AssociationCandidate> VanillaTracker::associate(const std::vector<ObjectDetection>& detections) {
  std::vector<AssociationCandidate> candidates;
  for (const ObjectDetection& detection : detections) {
    for (ObjectTrack& track : tracks) {
      if (!track.canAssociate(detection, labelAssociations)) continue;
      candidates.push_back({&track, &detection, -track.observationLikelihood(detection)});
    }
  }
  return candidates;
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

std::vector<TrackedObjectDetection> VanillaTracker::getTracks() const {
  std::vector<TrackedObjectDetection> reports;
  reports.reserve(tracks.size());
  for (const ObjectTrack& track : tracks) reports.push_back(track.reportTrack());
  return reports;
}

std::vector<internal::DebugTrack> VanillaTracker::getDebugTracks() const {
  std::vector<internal::DebugTrack> reports;
  reports.reserve(tracks.size());
  for (const ObjectTrack& track : tracks) reports.push_back(track.reportDebugTrack());
  return reports;
}

void VanillaTracker::cameraMovedCallback(MotionTrackerServer* server, void* userData) {
  if (server == nullptr || userData == nullptr) return;
  auto& tracker = *static_cast<VanillaTracker*>(userData);
  shiftByCameraMotion(tracker.tracks, *server, tracker.cameraMotion.watch());
}

}  // namespace nivra::vanilla
