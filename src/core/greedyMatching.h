#pragma once

#include <set>
#include <utility>
#include <vector>

#include "core/scoreOrder.h"

namespace nivra {

/// Total order of association candidates: ascending cost, then track order, then detection order. Tracks and
/// detections each stand in one vector, so the order of their addresses is theirs.
template <class Candidate>
bool cheaper(const Candidate& a, const Candidate& b) {
  if (ascending(a.cost, b.cost)) return true;
  if (ascending(b.cost, a.cost)) return false;
  return std::pair(a.track, a.detection) < std::pair(b.track, b.detection);
}

/// Accepts every candidate, in the given order, whose track and detection are both still free, and takes
/// both out of their sets.
template <class Candidate, class Track, class Detection, class Accept>
void matchGreedily(const std::vector<Candidate>& candidates, std::set<Track*>& freeTracks,
                   std::set<Detection*>& freeDetections, Accept accept) {
  for (const Candidate& candidate : candidates) {
    if (freeTracks.empty() || freeDetections.empty()) return;
    if (freeTracks.count(candidate.track) == 0 || freeDetections.count(candidate.detection) == 0) continue;
    freeTracks.erase(candidate.track);
    freeDetections.erase(candidate.detection);
    accept(candidate);
  }
}

}  // namespace nivra
