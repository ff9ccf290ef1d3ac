#include "nivra/reid/reidTracker.h"

#include <iterator>
#include <utility>

#include "core/boxGeometry.h"
#include "core/trackSteps.h"
#include "nivra/reid/inBetween.h"
#include "nivra/reid/matching.h"
#include "nivra/trackerLogger.h"

namespace nivra::reid {

namespace {

// Square of 16/9: the in-between test judges angles in a wide picture, whatever the camera's format.
constexpr float kInbetweenAspect = 256.0F / 81.0F;

/// Ends the tracks' hold on the frame's detections when the frame ends, however it ends.
class DetectionsOfFrame {
 public:
  explicit DetectionsOfFrame(std::vector<ObjectTrack>& heldTracks) : tracks(heldTracks) {}
  ~DetectionsOfFrame() {
    for (ObjectTrack& track : tracks) track.releaseDetection();
  }
  DetectionsOfFrame(const DetectionsOfFrame&) = delete;
  DetectionsOfFrame& operator=(const DetectionsOfFrame&) = delete;

 private:
  std::vector<ObjectTrack>& tracks;
};

/// Takes out the tracks that the frame didn't move because it is older than they are.
std::set<ObjectTrack*> takeUnmoved(std::set<ObjectTrack*>& tracks, unsigned long long timestamp) {
  std::set<ObjectTrack*> unmoved;
  for (auto track = tracks.begin(); track != tracks.end();) {
    const auto next = std::next(track);
    if (!(*track)->isPredictedTo(timestamp)) unmoved.insert(tracks.extract(track));
    track = next;
  }
  return unmoved;
}

}  // namespace

ReidTracker::ReidTracker(const TrackerParams& trackerParams, const LabelAssociations& associations)
    : params(trackerParams), labelAssociations(associations), cameraMotion(cameraMovedCallback, this) {}

ReidTracker::~ReidTracker() = default;

TrackUpdateResult ReidTracker::update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  TrackerLogger::getDefaultLogger()->setTimestamp(timestamp);
  predict(timestamp);
  return updateTracks(detections, timestamp);
}

void ReidTracker::predict(unsigned long long timestamp) {
  for (ObjectTrack& track : tracks) track.predict(timestamp);
}

TrackUpdateResult ReidTracker::updateTracks(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  const DetectionsOfFrame detectionsOfFrame(tracks);
  const MatchParams matchParams{params, labelAssociations};
  const std::set<int> overlapping = getOverlappingTracks(tracks, timestamp, params);
  TrackPartition partition = partitionTracks(tracks);

  markInbetweenDetections(detections, params.inBetween, kInbetweenAspect);
  const ActiveMatchResult active = matchActive(partition.active, detections, matchParams);
  for (const DetMatch& match : active.matches) {
    const bool storeFeature = overlapping.count(match.track->getId()) == 0;
    match.track->update(*match.detection, timestamp, storeFeature);
  }
  for (ObjectTrack* track : active.unmatchedTracks) track->emptyUpdate(timestamp);

  const std::set<ObjectTrack*> unmoved = takeUnmoved(partition.inactive, timestamp);
  std::set<ObjectTrack*> pending = findPending(timestamp);
  const InactiveMatchResult revival = matchInactive(partition.inactive, pending, matchParams);
  TrackUpdateResult result;
  for (const TrackMatch& match : revival.matches) {
    match.inactive->revive(*match.pending, timestamp);
    result.mergedIds.emplace(match.pending->getId(), match.inactive->getId());
  }
  for (ObjectTrack* track : revival.unmatchedInactive) track->emptyUpdate(timestamp);
  for (ObjectTrack* track : unmoved) track->emptyUpdate(timestamp);
  qualifyPending(revival.unmatchedPending, timestamp);

  // From here on tracks move within their vector, and no pointer to one is used any more.
  result.removedIds = pruneExpiredTracks();
  addNewTracks(active.unmatchedDetections, timestamp);
  return result;
}

std::set<ObjectTrack*> ReidTracker::findPending(unsigned long long timestamp) {
  std::set<ObjectTrack*> pending;
  for (ObjectTrack& track : tracks) {
    // When a timestamp is repeated, tracks updated in the frame before still bear it.
    if (track.getDetection() != nullptr && track.canGetConfidentId(timestamp)) pending.insert(&track);
  }
  return pending;
}

void ReidTracker::addNewTracks(const std::set<const ObjectDetection*>& detections, unsigned long long timestamp) {
  for (const ObjectDetection* detection : detections) {
    if (!detection->inbetween) tracks.emplace_back(*detection, takeNextId(nextId), timestamp, params);
  }
}

std::set<int> ReidTracker::pruneExpiredTracks() { return eraseExpired(tracks); }

std::set<int> ReidTracker::getOverlappingTracks(const std::vector<ObjectTrack>& tracks, unsigned long long timestamp,
                                                const TrackerParams& params) {
  const std::uint64_t lostRecently = timestamp - (params.inactiveOverlapExtraTime + params.inactiveAge);
  std::vector<const ObjectTrack*> considered;
  for (const ObjectTrack& track : tracks) {
    if (track.isReported() || track.getUpdateTimestamp() >= lostRecently) considered.push_back(&track);
  }

  std::set<int> overlapping;
  for (auto a = considered.begin(); a != considered.end(); ++a) {
    for (auto b = a + 1; b != considered.end(); ++b) {
      if ((*a)->getLabel() != (*b)->getLabel()) continue;
      if (intersectionOverUnion((*a)->getBox(), (*b)->getBox()) > params.maxStoreFeaturesIou) {
        overlapping.insert((*a)->getId());
        overlapping.insert((*b)->getId());
      }
    }
  }
  return overlapping;
}

std::vector<TrackedObjectDetection> ReidTracker::getTracks() const {
  std::vector<TrackedObjectDetection> reports;
  for (const ObjectTrack& track : tracks) {
    if (track.isReported()) reports.push_back(track.reportTrack());
  }
  return reports;
}

std::vector<internal::DebugTrack> ReidTracker::getDebugTracks() const { return reportDebugTracks(tracks); }

void ReidTracker::cameraMovedCallback(MotionTrackerServer* server, void* userData) {
  if (server == nullptr || userData == nullptr) return;
  auto& tracker = *static_cast<ReidTracker*>(userData);
  shiftByCameraMotion(tracker.tracks, *server, tracker.cameraMotion.watch());
}

}  // namespace nivra::reid
