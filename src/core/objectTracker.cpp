#include "nivra/objectTracker.h"

namespace nivra {

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

}  // namespace nivra
