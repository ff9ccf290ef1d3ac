#include "nivra/vanillaLowFps/vanillaLowFpsTracker.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>

#include "core/faultReport.h"
#include "core/labels.h"
#include "core/trackReport.h"
#include "matching/overlapSearch.h"
#include "nivra/trackerLogger.h"
#include "vanilla/likelihoodBody.h"
#include "vanillaLowFps/widthFactorLimit.h"

namespace nivra::vanillaLowFps {

namespace {

constexpr float kOverlapThreshold = 0.4F;  // intersection over union

/// Which tracks overlapped at the latest update matters only to fast ones at the next prediction. Until then, what is
/// needed to find out is kept.
class OverlapNotes {
 public:
  /// Notes where the tracks are. A label without associations is reported as a fault, once for every later track.
  void note(const std::vector<ObjectTrack>& tracks, const LabelTable& labels) {
    areFound = false;
    overlaps.clear();
    notedTracks.clear();
    std::size_t later = tracks.size();
    for (const ObjectTrack& track : tracks) {
      overlaps.add(track.getBox());
      notedTracks.push_back({track.getId(), labels.numberOf(track.getLabel())});
      --later;
      if (labels.hasEntry(notedTracks.back().label)) continue;
      for (std::size_t i = 0; i < later; ++i) reportFault("Got class without known associations: " + track.getLabel());
    }
  }

  /// The identities, ascending, of the tracks, as noted, whose box overlapped that of a track whose label they may
  /// take.
  const std::vector<int>& overlapping(const LabelTable& labels) {
    if (!areFound) findOverlapping(labels);
    areFound = true;
    return ids;
  }

  /// A stored state holds what they lead to.
  template <class Archive>
  void fields(Archive& archive, const LabelTable& labels) {
    overlapping(labels);
    archive(ids);
    archive.require(isAscending(ids, std::less<>()), "identities that don't ascend");
  }

 private:
  struct NotedTrack {
    int id;
    std::uint32_t label;
  };

  void findOverlapping(const LabelTable& labels) {
    ids.assign(notedTracks.size(), 0);  // at first a mark for each track
    overlaps.visitOverlapping(kOverlapThreshold, [&](std::uint32_t a, std::uint32_t b) {
      const LabelTable::Admissible admissible = labels.admissibleTo(notedTracks[a].label);
      if (admissible.contains(notedTracks[b].label)) ids[a] = ids[b] = 1;
    });
    std::size_t count = 0;
    for (std::size_t i = 0; i < notedTracks.size(); ++i) {
      if (ids[i] != 0) ids[count++] = notedTracks[i].id;
    }
    ids.resize(count);
    std::sort(ids.begin(), ids.end());
  }

  OverlapSearch overlaps;
  std::vector<NotedTrack> notedTracks;
  std::vector<int> ids;
  bool areFound = false;
};

}  // namespace

struct NIVRA_HIDDEN VanillaLowFpsTracker::Body : LikelihoodBody<ObjectTrack> {
  Body(const vanilla::TrackerParams& trackerParams, const LabelAssociations& associations,
       VanillaLowFpsTracker* tracker, MotionTrackerServer* motionServer)
      : LikelihoodBody(
            trackerParams, associations, RuleSection::lowFps,
            [&](const std::string& label) { return widthFactorLimit(trackerParams, label); }, cameraMovedCallback,
            tracker, motionServer) {}

  bool wasOverlapping(int id) {
    const std::vector<int>& ids = overlapNotes.overlapping(getLabels());
    return std::binary_search(ids.begin(), ids.end(), id);
  }

  template <class Archive>
  void fields(Archive& archive) {
    LikelihoodBody::fields(archive);
    overlapNotes.fields(archive, getLabels());
  }

  OverlapNotes overlapNotes;
};

VanillaLowFpsTracker::VanillaLowFpsTracker(const vanilla::TrackerParams& params, const LabelAssociations& associations)
    : VanillaLowFpsTracker(params, associations, MotionTrackerServer::getMotionTrackerServer()) {}

VanillaLowFpsTracker::VanillaLowFpsTracker(const vanilla::TrackerParams& params, const LabelAssociations& associations,
                                           MotionTrackerServer* motionServer)
    : body(std::make_unique<Body>(params, associations, this, motionServer)) {}

VanillaLowFpsTracker::~VanillaLowFpsTracker() = default;

TrackUpdateResult VanillaLowFpsTracker::update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  TrackerLogger::getDefaultLogger()->setTimestamp(timestamp);
  predict(timestamp);
  body->overlapNotes.note(body->getTracks(), body->getLabels());
  updateTracks(detections, timestamp);
  return {pruneExpiredTracks(), {}};
}

void VanillaLowFpsTracker::predict(unsigned long long timestamp) {
  predictTracks(body->getTracks(), [&](ObjectTrack& track) {
    const bool useVelocityNoise =
        track.isFast() && track.getLabel() != kPersonLabel && !body->wasOverlapping(track.getId());
    track.predict(timestamp, useVelocityNoise, body->getStep());
  });
}

std::set<int> VanillaLowFpsTracker::getOverlappingTrackIds() const {
  const std::vector<int>& ids = body->overlapNotes.overlapping(body->getLabels());
  return {ids.begin(), ids.end()};
}

std::vector<AssociationCandidate> VanillaLowFpsTracker::associate(const std::vector<ObjectDetection>& detections) {
  return body->associate(detections);
}

void VanillaLowFpsTracker::updateTracks(const std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  body->updateTracks(DetectionRange(detections), timestamp);
}

void VanillaLowFpsTracker::updateNonMatchedTracks(const std::set<ObjectTrack*>& unmatchedTracks) {
  for (ObjectTrack* track : unmatchedTracks) track->emptyUpdate();
}

void VanillaLowFpsTracker::addNewTracks(const std::set<const ObjectDetection*>& detections,
                                        unsigned long long timestamp) {
  for (const ObjectDetection* detection : detections) body->startTrack(*detection, timestamp);
}

std::set<int> VanillaLowFpsTracker::pruneExpiredTracks() { return eraseExpired(body->getTracks()); }

std::vector<TrackedObjectDetection> VanillaLowFpsTracker::getTracks() const {
  return reportsOf<TrackedObjectDetection>(body->getTracks());
}

std::vector<internal::DebugTrack> VanillaLowFpsTracker::getDebugTracks() const {
  return reportsOf<internal::DebugTrack>(body->getTracks());
}

void VanillaLowFpsTracker::getTracks(std::vector<TrackReport>& reports) const {
  reportTracks(body->getTracks(), reports);
}

void VanillaLowFpsTracker::getDebugTracks(std::vector<internal::DebugTrack>& reports) const {
  reportTracks(body->getTracks(), reports);
}

void VanillaLowFpsTracker::explainTo(Explainer* explainer) { body->explainTo(explainer); }

void VanillaLowFpsTracker::saveState(std::string& bytes) const {
  writeTracker(bytes, TrackerKind::lowFps, body->getConfiguration(), *body);
}

std::uint64_t VanillaLowFpsTracker::configurationDigest() const {
  return digestOf(TrackerKind::lowFps, body->getConfiguration());
}

template <class Archive>
void VanillaLowFpsTracker::fields(Archive& archive) {
  body->fields(archive);
}

template NIVRA_HIDDEN void VanillaLowFpsTracker::fields(StateWriter& archive);
template NIVRA_HIDDEN void VanillaLowFpsTracker::fields(StateReader& archive);

void VanillaLowFpsTracker::cameraMovedCallback(MotionTrackerServer* server, void* userData) {
  if (server == nullptr || userData == nullptr) return;
  static_cast<VanillaLowFpsTracker*>(userData)->body->followCamera(*server);
}

}  // namespace nivra::vanillaLowFps
