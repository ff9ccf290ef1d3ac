#include "nivra/vanillaLowFps/vanillaLowFpsTracker.h"

#include <algorithm>

#include "core/detectionRange.h"
#include "core/faultReport.h"
#include "core/labels.h"
#include "core/overlapSearch.h"
#include "core/trackSteps.h"
#include "nivra/trackerLogger.h"
#include "vanilla/likelihoodMatching.h"

namespace nivra::vanillaLowFps {

namespace {

constexpr float kOverlapThreshold = 0.4F;  // intersection over union

}  // namespace

VanillaLowFpsTracker::VanillaLowFpsTracker(const vanilla::TrackerParams& trackerParams,
                                           const LabelAssociations& associations)
    : VanillaLowFpsTracker(trackerParams, associations, MotionTrackerServer::getMotionTrackerServer()) {}

VanillaLowFpsTracker::VanillaLowFpsTracker(const vanilla::TrackerParams& trackerParams,
                                           const LabelAssociations& associations, MotionTrackerServer* motionServer)
    : params(trackerParams),
      matching(std::make_unique<LikelihoodMatching<ObjectTrack>>(params, associations)),
      overlaps(std::make_unique<OverlapSearch>()),
      cameraMotion(cameraMovedCallback, this, motionServer) {}

VanillaLowFpsTracker::~VanillaLowFpsTracker() = default;

TrackUpdateResult VanillaLowFpsTracker::update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  TrackerLogger::getDefaultLogger()->setTimestamp(timestamp);
  predict(timestamp);
  noteTracks();
  updateTracks(detections, timestamp);
  return {pruneExpiredTracks(), {}};
}

void VanillaLowFpsTracker::predict(unsigned long long timestamp) {
  bool areOverlapsKnown = false;
  const auto wasOverlapping = [&](int id) {
    if (!areOverlapsKnown) findOverlappingTracks(overlappingTrackIds);
    areOverlapsKnown = true;
    return std::binary_search(overlappingTrackIds.begin(), overlappingTrackIds.end(), id);
  };
  TimeStep step;
  predictTracks(tracks, [&](ObjectTrack& track) {
    const bool useVelocityNoise = track.isFast() && track.getLabel() != kPersonLabel && !wasOverlapping(track.getId());
    track.predict(timestamp, useVelocityNoise, step);
  });
}

void VanillaLowFpsTracker::noteTracks() {
  const LabelTable& labels = matching->getLabels();
  overlaps->clear();
  notedTracks.clear();
  std::size_t later = tracks.size();
  for (const ObjectTrack& track : tracks) {
    overlaps->add(track.getBox());
    notedTracks.push_back({track.getId(), track.getLabelNumber(labels)});
    --later;
    if (labels.hasEntry(notedTracks.back().label)) continue;
    for (std::size_t i = 0; i < later; ++i) reportFault("Got class without known associations: " + track.getLabel());
  }
}

void VanillaLowFpsTracker::findOverlappingTracks(std::vector<int>& ids) const {
  ids.assign(notedTracks.size(), 0);  // at first a mark for each track
  overlaps->visitOverlapping(kOverlapThreshold, [&](std::uint32_t a, std::uint32_t b) {
    const LabelTable::Admissible admissible = matching->getLabels().admissibleTo(notedTracks[a].label);
    if (admissible.contains(notedTracks[b].label)) ids[a] = ids[b] = 1;
  });
  std::size_t count = 0;
  for (std::size_t i = 0; i < notedTracks.size(); ++i) {
    if (ids[i] != 0) ids[count++] = notedTracks[i].id;
  }
  ids.resize(count);
  std::sort(ids.begin(), ids.end());
}

std::set<int> VanillaLowFpsTracker::getOverlappingTrackIds() const {
  std::vector<int> ids;
  findOverlappingTracks(ids);
  return {ids.begin(), ids.end()};
}

std::vector<AssociationCandidate> VanillaLowFpsTracker::associate(const std::vector<ObjectDetection>& detections) {
  return associateByLikelihood<AssociationCandidate>(tracks, detections, *matching);
}

void VanillaLowFpsTracker::updateTracks(const std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  matchAndStart(DetectionRange(detections), timestamp);
}

void VanillaLowFpsTracker::updateNonMatchedTracks(const std::set<ObjectTrack*>& unmatchedTracks) {
  for (ObjectTrack* track : unmatchedTracks) track->emptyUpdate();
}

void VanillaLowFpsTracker::addNewTracks(const std::set<const ObjectDetection*>& detections,
                                        unsigned long long timestamp) {
  for (const ObjectDetection* detection : detections) startTrack(*detection, timestamp);
}

void VanillaLowFpsTracker::matchAndStart(DetectionRange detections, unsigned long long timestamp) {
  updateTracksByLikelihood(tracks, detections, timestamp, *matching,
                           [&](const ObjectDetection& detection) { startTrack(detection, timestamp); });
}

void VanillaLowFpsTracker::startTrack(const ObjectDetection& detection, unsigned long long timestamp) {
  tracks.emplace_back(detection, takeNextId(nextId), timestamp, params, lendFilterParams(params));
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
