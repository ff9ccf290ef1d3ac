#pragma once

#include <set>
#include <utility>
#include <vector>

#include "core/scoreOrder.h"

namespace nivra {

/// The two sides that a candidate would pair: a track and a detection, unless its type says otherwise.
template <class Candidate>
auto sides(const Candidate& candidate) -> decltype(std::pair(candidate.track, candidate.detection)) {
  return {candidate.track, candidate.detection};
}

/// Total order of candidates: ascending cost, then the order of the one side, then of the other. Each side's
/// elements stand in one vector, so the order of their addresses is theirs.
template <class Candidate>
bool cheaper(const Candidate& a, const Candidate& b) {
  if (ascending(a.cost, b.cost)) return true;
  if (ascending(b.cost, a.cost)) return false;
  return sides(a) < sides(b);
}

/// Accepts every candidate, in the given order, whose two sides are both still free, and takes them out of
/// their sets.
template <class Candidate, class One, class Other, class Accept>
void matchGreedily(const std::vector<Candidate>& candidates, std::set<One*>& free, std::set<Other*>& otherFree,
                   Accept accept) {
  for (const Candidate& candidate : candidates) {
    if (free.empty() || otherFree.empty()) return;
    const auto [one, other] = sides(candidate);
    if (free.count(one) == 0 || otherFree.count(other) == 0) continue;
    free.erase(one);
    otherFree.erase(other);
    accept(candidate);
  }
}

}  // namespace nivra
