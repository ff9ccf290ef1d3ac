#include "nivra/objectTracker.h"

#include <stdexcept>

namespace nivra {

static std::logic_error noState() { return std::logic_error("This tracker has no state to store"); }

ObjectTracker::~ObjectTracker() = default;

void ObjectTracker::getTracks(std::vector<TrackReport>& reports) const {
  reports.clear();
  const std::vector<internal::DebugTrack> all = getDebugTracks();
  auto debug = all.begin();
  for (const TrackedObjectDetection& track : getTracks()) {
    while (debug != all.end() && debug->track.id != track.id) ++debug;
    reports.push_back({track, debug == all.end() ? -1 : debug->lastDetectionId});
  }
}

void ObjectTracker::getDebugTracks(std::vector<internal::DebugTrack>& reports) const { reports = getDebugTracks(); }

void ObjectTracker::explainTo(Explainer* /*explainer*/) {}

void ObjectTracker::saveState(std::string& /*bytes*/) const { throw noState(); }

std::uint64_t ObjectTracker::configurationDigest() const { throw noState(); }

}  // namespace nivra
