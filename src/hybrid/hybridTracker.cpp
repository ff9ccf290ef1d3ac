#include "nivra/hybrid/hybridTracker.h"

#include <algorithm>
#include <cstddef>

#include "core/labels.h"
#include "core/trackReport.h"
#include "nivra/explanation.h"
#include "nivra/reid/reidTracker.h"
#include "nivra/vanilla/vanillaTracker.h"
#include "states/trackerState.h"

namespace nivra::hybrid {

namespace {

// Inner identities beyond this would not fit twice into an int.
constexpr int kInnerIdentities = 1 << 30;

int vanillaId(int innerId) { return 2 * (innerId % kInnerIdentities); }
int reidId(int innerId) { return vanillaId(innerId) + 1; }

void setId(TrackedObjectDetection& track, int id) { track.id = id; }
void setId(TrackReport& report, int id) { report.track.id = id; }
void setId(internal::DebugTrack& track, int id) { track.track.id = id; }

template <class Track>
int innerId(const Track& track) {
  return track.getId();
}
int innerId(const TrackedObjectDetection& track) { return track.id; }
int innerId(const internal::DebugTrack& track) { return track.track.id; }

/// Visits the tracks of both in ascending order of inner identities, vanilla first among equals.
template <class VanillaTrack, class ReidTrack, class VisitVanilla, class VisitReid>
void visitMerged(const std::vector<VanillaTrack>& vanillaTracks, const std::vector<ReidTrack>& reidTracks,
                 VisitVanilla visitVanilla, VisitReid visitReid) {
  auto vanilla = vanillaTracks.begin();
  for (const ReidTrack& track : reidTracks) {
    for (; vanilla != vanillaTracks.end() && innerId(*vanilla) <= innerId(track); ++vanilla) visitVanilla(*vanilla);
    visitReid(track);
  }
  for (; vanilla != vanillaTracks.end(); ++vanilla) visitVanilla(*vanilla);
}

/// Hands on what one of the two trackers explains, in the terms of the hybrid one.
class Relay final : public Explainer {
 public:
  explicit Relay(int (*idOfInner)(int)) : idOf(idOfInner) {}

  void tell(Explainer* newTarget) { target = newTarget; }
  /// @param first Position of the tracker's first detection among those of the frame.
  void beginFrame(std::size_t first) { firstDetection = first; }

  void explainInBetween(const InBetweenExplanation& explanation) override {
    InBetweenExplanation own = explanation;
    own.middle += firstDetection;
    for (std::size_t& each : own.neighbours) each += firstDetection;
    target->explainInBetween(own);
  }
  void explainPair(const PairExplanation& explanation) override {
    PairExplanation own = explanation;
    for (PairExplanation::Members* each : {&own.pair, &own.rival}) {
      *each = {idOf(each->track), each->detection + firstDetection};
    }
    target->explainPair(own);
  }
  void explainRevival(const RevivalExplanation& explanation) override {
    RevivalExplanation own = explanation;
    for (RevivalExplanation::Members* each : {&own.pair, &own.rival}) *each = {idOf(each->lost), idOf(each->young)};
    target->explainRevival(own);
  }
  void explainTrack(const TrackExplanation& explanation) override {
    TrackExplanation own = explanation;
    own.track = idOf(own.track);
    if (own.other) own.other = idOf(*own.other);
    if (own.detection) *own.detection += firstDetection;
    target->explainTrack(own);
  }

 private:
  int (*idOf)(int);
  Explainer* target = nullptr;
  std::size_t firstDetection = 0;
};

bool isReported(const reid::ObjectTrack& track) { return track.isReported(); }
bool isAnything(const reid::ObjectTrack&) { return true; }

}  // namespace

struct NIVRA_HIDDEN HybridTracker::Body {
  Body(const TrackerParams& params, const LabelAssociations& labelAssociations, MotionTrackerServer* motionServer)
      : configuration{params, labelAssociations},
        vanillaTracker(params.vanillaParams, labelAssociations, motionServer),
        reidTracker(params.reidParams, labelAssociations, motionServer) {}

  /// The tracks of both, reported in the order of `mergeTracks`.
  template <class Report, class IsReported>
  void report(std::vector<Report>& reports, IsReported isReported) const {
    ReportWriter writer(reports);
    visitMerged(
        vanillaTracker.followed(), reidTracker.followed(),
        [&](const vanilla::ObjectTrack& track) { setId(writer.write(track), vanillaId(track.getId())); },
        [&](const reid::ObjectTrack& track) {
          if (isReported(track)) setId(writer.write(track), reidId(track.getId()));
        });
    writer.finish();
  }

  template <class Archive>
  void fields(Archive& archive) {
    vanillaTracker.fields(archive);
    reidTracker.fields(archive);
  }

  const Configuration<TrackerParams> configuration;
  Relay vanillaRelay{vanillaId};  // before the trackers, which tell them
  Relay reidRelay{reidId};
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
  body->vanillaRelay.beginFrame(humanCount);
  const auto vanillaResult = body->vanillaTracker.update(others, detections.size() - humanCount, timestamp);
  const auto reidResult = body->reidTracker.update(humans, humanCount, timestamp);

  TrackUpdateResult result;
  for (const int id : vanillaResult.removedIds) result.removedIds.insert(vanillaId(id));
  for (const int id : reidResult.removedIds) result.removedIds.insert(reidId(id));
  for (const auto& [absorbed, older] : reidResult.mergedIds) result.mergedIds.emplace(reidId(absorbed), reidId(older));
  return result;
}

std::vector<TrackedObjectDetection> HybridTracker::getTracks() const {
  std::vector<TrackedObjectDetection> reports;
  body->report(reports, isReported);
  return reports;
}

std::vector<internal::DebugTrack> HybridTracker::getDebugTracks() const {
  std::vector<internal::DebugTrack> reports;
  getDebugTracks(reports);
  return reports;
}

void HybridTracker::getTracks(std::vector<TrackReport>& reports) const { body->report(reports, isReported); }

void HybridTracker::getDebugTracks(std::vector<internal::DebugTrack>& reports) const {
  body->report(reports, isAnything);
}

void HybridTracker::explainTo(Explainer* explainer) {
  const auto relayFor = [explainer](Relay& relay) {
    relay.tell(explainer);
    return explainer == nullptr ? nullptr : &relay;
  };
  body->vanillaTracker.explainTo(relayFor(body->vanillaRelay));
  body->reidTracker.explainTo(relayFor(body->reidRelay));
}

void HybridTracker::saveState(std::string& bytes) const {
  writeTracker(bytes, TrackerKind::hybrid, body->configuration, *body);
}

std::uint64_t HybridTracker::configurationDigest() const { return digestOf(TrackerKind::hybrid, body->configuration); }

template <class Archive>
void HybridTracker::fields(Archive& archive) {
  body->fields(archive);
}

template NIVRA_HIDDEN void HybridTracker::fields(StateWriter& archive);
template NIVRA_HIDDEN void HybridTracker::fields(StateReader& archive);

int getId(const TrackedObjectDetection& track) { return innerId(track); }
int getId(const internal::DebugTrack& track) { return innerId(track); }

template <class T>
std::vector<T> mergeTracks(const std::vector<T>& vanillaTracks, const std::vector<T>& reidTracks) {
  std::vector<T> merged;
  merged.reserve(vanillaTracks.size() + reidTracks.size());
  const auto add = [&](const T& track, int id) {
    merged.push_back(track);
    setId(merged.back(), id);
  };
  visitMerged(
      vanillaTracks, reidTracks, [&](const T& track) { add(track, vanillaId(innerId(track))); },
      [&](const T& track) { add(track, reidId(innerId(track))); });
  return merged;
}

template NIVRA_EXPORT std::vector<TrackedObjectDetection> mergeTracks(const std::vector<TrackedObjectDetection>&,
                                                                      const std::vector<TrackedObjectDetection>&);
template NIVRA_EXPORT std::vector<internal::DebugTrack> mergeTracks(const std::vector<internal::DebugTrack>&,
                                                                    const std::vector<internal::DebugTrack>&);

}  // namespace nivra::hybrid
