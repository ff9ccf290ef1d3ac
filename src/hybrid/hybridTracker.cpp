#include "nivra/hybrid/hybridTracker.h"

#include <algorithm>
#include <cstddef>

#include "core/labels.h"
#include "nivra/reid/reidTracker.h"
#include "nivra/vanilla/vanillaTracker.h"

namespace nivra::hybrid {

namespace {

// Inner identities beyond this would not fit twice into an int.
constexpr int kInnerIdentities = 1 << 30;

int vanillaId(int innerId) { return 2 * (innerId % kInnerIdentities); }
int reidId(int innerId) { return vanillaId(innerId) + 1; }

void setId(TrackedObjectDetection& track, int id) { track.id = id; }
void setId(internal::DebugTrack& track, int id) { track.track.id = id; }

}  // namespace

struct NIVRA_HIDDEN HybridTracker::Body {
  Body(const TrackerParams& params, const LabelAssociations& labelAssociations, MotionTrackerServer* motionServer)
      : vanillaTracker(params.vanillaParams, labelAssociations, motionServer),
        reidTracker(params.reidParams, labelAssociations, motionServer) {}

  vanilla::VanillaTracker vanillaTracker;
  reid::ReidTracker reidTracker;
};

HybridTracker::HybridTracker(const TrackerParams& params, const LabelAssociations& labelAssociations)
    : HybridTracker(params, labelAssociations, MotionTrackerServer::getMotionTrackerServer()) {}

HybridTracker::HybridTracker(const TrackerParams& params, const LabelAssociations& labelAssociations,
                             MotionTrackerServer* motionServer)
    : body(std::make_unique<Body>(params, labelAssociations, motionServer)) {}

HybridTracker::~HybridTracker() = default;

TrackUpdateResult HybridTracker::update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) {
  const auto firstOther = std::partition(detections.begin(), detections.end(), [](const ObjectDetection& detection) {
    return detection.label == kPersonLabel;
  });
  const auto humanCount = static_cast<std::size_t>(firstOther - detections.begin());
  const ObjectDetection* humans = detections.data();
  const ObjectDetection* others = humans + humanCount;
  const auto vanillaResult = body->vanillaTracker.update(others, detections.size() - humanCount, timestamp);
  const auto reidResult = body->reidTracker.update(humans, humanCount, timestamp);

  TrackUpdateResult result;
  for (const int id : vanillaResult.removedIds) result.removedIds.insert(vanillaId(id));
  for (const int id : reidResult.removedIds) result.removedIds.insert(reidId(id));
  for (const auto& [absorbed, older] : reidResult.mergedIds) result.mergedIds.emplace(reidId(absorbed), reidId(older));
  return result;
}

std::vector<TrackedObjectDetection> HybridTracker::getTracks() const {
  return mergeTracks(body->vanillaTracker.getTracks(), body->reidTracker.getTracks());
}

std::vector<internal::DebugTrack> HybridTracker::getDebugTracks() const {
  return mergeTracks(body->vanillaTracker.getDebugTracks(), body->reidTracker.getDebugTracks());
}

int getId(const TrackedObjectDetection& track) { return track.id; }
int getId(const internal::DebugTrack& track) { return track.track.id; }

template <class T>
std::vector<T> mergeTracks(const std::vector<T>& vanillaTracks, const std::vector<T>& reidTracks) {
  std::vector<T> merged;
  merged.reserve(vanillaTracks.size() + reidTracks.size());
  auto vanilla = vanillaTracks.begin();
  auto reid = reidTracks.begin();
  while (vanilla != vanillaTracks.end() || reid != reidTracks.end()) {
    const bool takesReid =
        vanilla == vanillaTracks.end() || (reid != reidTracks.end() && getId(*vanilla) > getId(*reid));
    merged.push_back(takesReid ? *reid : *vanilla);
    setId(merged.back(), takesReid ? reidId(getId(*reid)) : vanillaId(getId(*vanilla)));
    ++(takesReid ? reid : vanilla);
  }
  return merged;
}

template NIVRA_EXPORT std::vector<TrackedObjectDetection> mergeTracks(const std::vector<TrackedObjectDetection>&,
                                                                      const std::vector<TrackedObjectDetection>&);
template NIVRA_EXPORT std::vector<internal::DebugTrack> mergeTracks(const std::vector<internal::DebugTrack>&,
                                                                    const std::vector<internal::DebugTrack>&);

}  // namespace nivra::hybrid
