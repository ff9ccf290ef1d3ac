#include "nivra/vanilla/vanillaTracker.h"

#include "core/trackReport.h"
#include "nivra/trackerLogger.h"
#include "vanilla/likelihoodBody.h"

namespace nivra::vanilla {

struct NIVRA_HIDDEN VanillaTracker::Body : LikelihoodBody<ObjectTrack> {
  Body(const TrackerParams& trackerParams, const LabelAssociations& associations, VanillaTracker* tracker,
       MotionTrackerServer* motionServer)
      : LikelihoodBody(
            trackerParams, associations, RuleSection::usual,
            [&](const std::string&) { return OffsetLimit{trackerParams.widthFactorGating}; }, cameraMovedCallback,
            tracker, motionServer) {}
};

VanillaTracker::VanillaTracker(const TrackerParams& params, const LabelAssociations& associations)
    : VanillaTracker(params, associations, MotionTrackerServer::getMotionTrackerServer()) {}

VanillaTracker::VanillaTracker(const TrackerParams& params, const LabelAssociations& associations,
                               MotionTrackerServer* motionServer)
    : body(std::make_unique<Body>(params, associations, this, motionServer)) {}

VanillaTracker::~VanillaTracker() = default;

TrackUpdateResult VanillaTracker::update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  return update(detections.data(), detections.size(), timestamp);
}

TrackUpdateResult VanillaTracker::update(const ObjectDetection* detections, std::size_t count,
                                         unsigned long long timestamp) {
  TrackerLogger::getDefaultLogger()->setTimestamp(timestamp);
  predict(timestamp);
  body->updateTracks({detections, count}, timestamp);
  return {pruneExpiredTracks(), {}};
}

void VanillaTracker::predict(unsigned long long timestamp) {
  predictTracks(body->getTracks(), [&](ObjectTrack& track) { track.predict(timestamp, body->getStep()); });
}

std::vector<AssociationCandidate> VanillaTracker::associate(const std::vector<ObjectDetection>& detections) {
  return body->associate(detections);
}

void VanillaTracker::updateTracks(const std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  body->updateTracks(DetectionRange(detections), timestamp);
}

void VanillaTracker::updateNonMatchedTracks(const std::set<ObjectTrack*>& unmatchedTracks) {
  for (ObjectTrack* track : unmatchedTracks) track->emptyUpdate();
}

void VanillaTracker::addNewTracks(const std::set<const ObjectDetection*>& detections, unsigned long long timestamp) {
  for (const ObjectDetection* detection : detections) body->startTrack(*detection, timestamp);
}

std::set<int> VanillaTracker::pruneExpiredTracks() { return eraseExpired(body->getTracks()); }

std::vector<TrackedObjectDetection> VanillaTracker::getTracks() const {
  return reportsOf<TrackedObjectDetection>(body->getTracks());
}

std::vector<internal::DebugTrack> VanillaTracker::getDebugTracks() const {
  return reportsOf<internal::DebugTrack>(body->getTracks());
}

void VanillaTracker::getTracks(std::vector<TrackReport>& reports) const { reportTracks(body->getTracks(), reports); }

void VanillaTracker::getDebugTracks(std::vector<internal::DebugTrack>& reports) const {
  reportTracks(body->getTracks(), reports);
}

void VanillaTracker::explainTo(Explainer* explainer) { body->explainTo(explainer); }

void VanillaTracker::saveState(std::string& bytes) const {
  writeTracker(bytes, TrackerKind::vanilla, body->getConfiguration(), *body);
}

std::uint64_t VanillaTracker::configurationDigest() const {
  return digestOf(TrackerKind::vanilla, body->getConfiguration());
}

template <class Archive>
void VanillaTracker::fields(Archive& archive) {
  body->fields(archive);
}

template NIVRA_HIDDEN void VanillaTracker::fields(StateWriter& archive);
template NIVRA_HIDDEN void VanillaTracker::fields(StateReader& archive);

const std::vector<ObjectTrack>& VanillaTracker::followed() const { return body->getTracks(); }

void VanillaTracker::cameraMovedCallback(MotionTrackerServer* server, void* userData) {
  if (server != nullptr && userData != nullptr) static_cast<VanillaTracker*>(userData)->body->followCamera(*server);
}

}  // namespace nivra::vanilla
