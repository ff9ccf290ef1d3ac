#include "nivra/reid/reidTracker.h"

#include "core/cameraMotionSubscription.h"
#include "core/detectionRange.h"
#include "core/trackReport.h"
#include "core/trackSteps.h"
#include "matching/overlapSearch.h"
#include "nivra/trackerLogger.h"
#include "reid/frameMatching.h"
#include "reid/inbetweenSearch.h"
#include "reid/reidExplaining.h"
#include "states/trackerState.h"

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

/// Calls visit(a, b) with the positions of every two tracks of one label that overlap and are not lost for long.
template <class Visit>
void visitOverlapping(const std::vector<ObjectTrack>& tracks, std::uint64_t timestamp, const TrackerParams& params,
                      OverlapSearch& search, std::vector<std::uint32_t>& considered, Visit visit) {
  const std::uint64_t lostRecently = timestamp - (params.inactiveOverlapExtraTime + params.inactiveAge);
  search.clear();
  considered.clear();
  for (std::uint32_t i = 0; i < tracks.size(); ++i) {
    if (!tracks[i].isReported() && tracks[i].getUpdateTimestamp() < lostRecently) continue;
    search.add(tracks[i].getBox());
    considered.push_back(i);
  }
  search.visitOverlapping(params.maxStoreFeaturesIou, [&](std::uint32_t a, std::uint32_t b) {
    if (tracks[considered[a]].getLabel() == tracks[considered[b]].getLabel()) visit(considered[a], considered[b]);
  });
}

/// What a frame's steps hand on to each other; kept from frame to frame for its memory alone.
struct FrameMemory {
  FrameMemory(const TrackerParams& params, const LabelAssociations& associations) : matching(params, associations) {}

  OverlapSearch overlaps;
  std::vector<std::uint32_t> considered;  // tracks in the search
  std::vector<char> isOverlapping;        // by track
  InbetweenSearch inbetweenSearch;
  std::vector<char> isInbetween;  // by detection
  std::vector<ObjectTrack*> active;
  std::vector<ObjectTrack*> inactive;
  std::vector<ObjectTrack*> pending;
  DetectionMatching matching;
  GreedyMatching revivals;
};

}  // namespace

struct NIVRA_HIDDEN ReidTracker::Body {
  Body(const TrackerParams& trackerParams, const LabelAssociations& associations, ReidTracker* tracker,
       MotionTrackerServer* motionServer)
      : configuration{trackerParams, associations},
        memory(params, associations),
        explaining(params),
        cameraMotion(cameraMovedCallback, tracker, motionServer) {}

  TrackUpdateResult updateTracks(DetectionRange detections, unsigned long long timestamp);
  void showInbetween(std::vector<ObjectDetection>& detections) const;
  void markOverlapping(unsigned long long timestamp);
  void partitionByLoss();
  void markInbetween(DetectionRange detections);
  void updateActive(DetectionRange detections, unsigned long long timestamp);
  std::set<std::pair<int, int>> reviveInactive(unsigned long long timestamp);
  void startTrack(const ObjectDetection& detection, unsigned long long timestamp);

  /// What a stored state holds beside the configuration.
  template <class Archive>
  void fields(Archive& archive) {
    archive.list(
        tracks, [this] { startTrack(ObjectDetection(), 0); },
        [&](ObjectTrack& track) {
          track.releaseDetection();
          archive(track);
        });
    archive(nextId);
    archive.require(nextId >= 0, "a negative identity");
  }

  const Configuration<TrackerParams> configuration;
  const TrackerParams& params = configuration.params;  // every track points at these
  std::vector<ObjectTrack> tracks;                     // oldest first
  TimeStep step;  // of the frame before, which most cameras' next frames have as well
  std::int32_t nextId = 0;
  FrameMemory memory;
  ReidExplaining explaining;
  CameraMotionSubscription cameraMotion;
};

ReidTracker::ReidTracker(const TrackerParams& params, const LabelAssociations& associations)
    : ReidTracker(params, associations, MotionTrackerServer::getMotionTrackerServer()) {}

ReidTracker::ReidTracker(const TrackerParams& params, const LabelAssociations& associations,
                         MotionTrackerServer* motionServer)
    : body(std::make_unique<Body>(params, associations, this, motionServer)) {}

ReidTracker::~ReidTracker() = default;

TrackUpdateResult ReidTracker::update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  TrackUpdateResult result = update(detections.data(), detections.size(), timestamp);
  body->showInbetween(detections);
  return result;
}

TrackUpdateResult ReidTracker::update(const ObjectDetection* detections, std::size_t count,
                                      unsigned long long timestamp) {
  TrackerLogger::getDefaultLogger()->setTimestamp(timestamp);
  predict(timestamp);
  return body->updateTracks({detections, count}, timestamp);
}

void ReidTracker::predict(unsigned long long timestamp) {
  predictTracks(body->tracks, [&](ObjectTrack& track) { track.predict(timestamp, body->step); });
}

TrackUpdateResult ReidTracker::updateTracks(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  TrackUpdateResult result = body->updateTracks(DetectionRange(detections), timestamp);
  body->showInbetween(detections);
  return result;
}

/// Sets the flags of the detections, of all those in the frame, that were found to lie between others.
void ReidTracker::Body::showInbetween(std::vector<ObjectDetection>& detections) const {
  for (std::size_t i = 0; i < detections.size(); ++i) {
    if (memory.isInbetween[i] != 0) detections[i].inbetween = true;
  }
}

TrackUpdateResult ReidTracker::Body::updateTracks(DetectionRange detections, unsigned long long timestamp) {
  const DetectionsOfFrame detectionsOfFrame(tracks);
  markOverlapping(timestamp);
  partitionByLoss();
  markInbetween(detections);
  explaining.explainInbetween(detections, memory.inbetweenSearch, kInbetweenAspect);
  memory.matching.match(memory.active, detections, memory.isInbetween);
  explaining.explainMatching(memory.active, detections, memory.isInbetween, memory.matching);
  explaining.explainActive(memory.active, memory.matching, timestamp);
  updateActive(detections, timestamp);

  TrackUpdateResult result;
  result.mergedIds = reviveInactive(timestamp);
  // From here on tracks move within their vector, and no pointer to one is used any more.
  result.removedIds = eraseExpired(tracks);
  for (std::uint32_t i = 0; i < detections.size(); ++i) {
    if (!memory.matching.isLeft(i) || memory.isInbetween[i] != 0) continue;
    startTrack(detections[i], timestamp);
    explaining.explainStart(tracks.back(), i);
  }
  return result;
}

void ReidTracker::Body::markOverlapping(unsigned long long timestamp) {
  memory.isOverlapping.assign(tracks.size(), 0);
  visitOverlapping(tracks, timestamp, params, memory.overlaps, memory.considered,
                   [&](std::uint32_t a, std::uint32_t b) { memory.isOverlapping[a] = memory.isOverlapping[b] = 1; });
}

void ReidTracker::Body::partitionByLoss() {
  memory.active.clear();
  memory.inactive.clear();
  for (ObjectTrack& track : tracks) {
    (track.getState() == TrackState::Inactive ? memory.inactive : memory.active).push_back(&track);
  }
}

void ReidTracker::Body::markInbetween(DetectionRange detections) {
  memory.isInbetween.clear();
  for (const ObjectDetection& detection : detections) memory.isInbetween.push_back(detection.inbetween ? 1 : 0);
  memory.inbetweenSearch.mark(detections, params.inBetween, kInbetweenAspect,
                              [&](std::uint32_t middle) { memory.isInbetween[middle] = 1; });
}

void ReidTracker::Body::updateActive(DetectionRange detections, unsigned long long timestamp) {
  for (std::uint32_t i = 0; i < memory.active.size(); ++i) {
    ObjectTrack& track = *memory.active[i];
    const std::uint32_t detection = memory.matching.detectionOf(i);
    if (detection == GreedyMatching::kNone) {
      track.emptyUpdate(timestamp);
    } else {
      const bool storeFeature = memory.isOverlapping[static_cast<std::size_t>(&track - tracks.data())] == 0;
      track.update(detections[detection], timestamp, storeFeature);
    }
  }
}

std::set<std::pair<int, int>> ReidTracker::Body::reviveInactive(unsigned long long timestamp) {
  memory.pending.clear();
  for (ObjectTrack& track : tracks) {
    // When a timestamp is repeated, tracks updated in the frame before still bear it.
    if (track.getDetection() != nullptr && track.canGetConfidentId(timestamp)) memory.pending.push_back(&track);
  }

  matchRevivals(memory.inactive, memory.pending, memory.revivals);
  explaining.explainRevivals(tracks, memory.inactive, memory.pending, memory.revivals, timestamp);
  std::set<std::pair<int, int>> mergedIds;
  for (std::uint32_t i = 0; i < memory.inactive.size(); ++i) {
    ObjectTrack& lost = *memory.inactive[i];
    const std::uint32_t match = memory.revivals.partnerOf(i);
    if (match == GreedyMatching::kNone) {
      lost.emptyUpdate(timestamp);
    } else {
      lost.revive(*memory.pending[match], timestamp);
      mergedIds.emplace(memory.pending[match]->getId(), lost.getId());
    }
  }
  for (std::uint32_t i = 0; i < memory.pending.size(); ++i) {
    if (memory.revivals.isFree(i)) qualify(*memory.pending[i], timestamp);
  }
  return mergedIds;
}

void ReidTracker::Body::startTrack(const ObjectDetection& detection, unsigned long long timestamp) {
  tracks.emplace_back(detection, takeNextId(nextId), timestamp, params);
}

void ReidTracker::addNewTracks(const std::set<const ObjectDetection*>& detections, unsigned long long timestamp) {
  for (const ObjectDetection* detection : detections) {
    if (!detection->inbetween) body->startTrack(*detection, timestamp);
  }
}

std::set<int> ReidTracker::pruneExpiredTracks() { return eraseExpired(body->tracks); }

std::set<int> ReidTracker::getOverlappingTracks(const std::vector<ObjectTrack>& tracks, unsigned long long timestamp,
                                                const TrackerParams& params) {
  OverlapSearch search;
  std::vector<std::uint32_t> considered;
  std::set<int> overlapping;
  visitOverlapping(tracks, timestamp, params, search, considered, [&](std::uint32_t a, std::uint32_t b) {
    overlapping.insert({tracks[a].getId(), tracks[b].getId()});
  });
  return overlapping;
}

static bool isReported(const ObjectTrack& track) { return track.isReported(); }

std::vector<TrackedObjectDetection> ReidTracker::getTracks() const {
  return reportsOf<TrackedObjectDetection>(body->tracks, isReported);
}

std::vector<internal::DebugTrack> ReidTracker::getDebugTracks() const {
  return reportsOf<internal::DebugTrack>(body->tracks);
}

void ReidTracker::getTracks(std::vector<TrackReport>& reports) const {
  reportTracks(body->tracks, reports, isReported);
}

void ReidTracker::getDebugTracks(std::vector<internal::DebugTrack>& reports) const {
  reportTracks(body->tracks, reports);
}

void ReidTracker::explainTo(Explainer* explainer) { body->explaining.tell(explainer); }

void ReidTracker::saveState(std::string& bytes) const {
  writeTracker(bytes, TrackerKind::reid, body->configuration, *body);
}

std::uint64_t ReidTracker::configurationDigest() const { return digestOf(TrackerKind::reid, body->configuration); }

template <class Archive>
void ReidTracker::fields(Archive& archive) {
  body->fields(archive);
}

template NIVRA_HIDDEN void ReidTracker::fields(StateWriter& archive);
template NIVRA_HIDDEN void ReidTracker::fields(StateReader& archive);

const std::vector<ObjectTrack>& ReidTracker::followed() const { return body->tracks; }

void ReidTracker::cameraMovedCallback(MotionTrackerServer* server, void* userData) {
  if (server == nullptr || userData == nullptr) return;
  Body& body = *static_cast<ReidTracker*>(userData)->body;
  shiftByCameraMotion(body.tracks, *server, body.cameraMotion.watch());
}

}  // namespace nivra::reid
