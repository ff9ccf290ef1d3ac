#include "hostkit/evaluation/hota.h"

#include <algorithm>
#include <cmath>

#include "hostkit/evaluation/assignment.h"

namespace nivra::hostkit {

namespace {

using PerThreshold = Hota::PerThreshold;

template <class Figure>
PerThreshold perThreshold(Figure figure) {
  PerThreshold figures{};
  for (std::size_t i = 0; i < kHotaThresholds; ++i) figures[i] = figure(i);
  return figures;
}

PerThreshold rootOfProduct(const PerThreshold& a, const PerThreshold& b) {
  return perThreshold([&](std::size_t i) { return std::sqrt(a[i] * b[i]); });
}

/// Of each pair of identities: how much of their boxes would be the other's, over all of the sequence.
std::vector<double> alignmentsOf(const Comparison& comparison) {
  std::vector<double> common(comparison.pairs.size());
  std::vector<double> ofTruth;
  std::vector<double> ofTrack;
  for (std::size_t frame = 0; frame < comparison.frameCount(); ++frame) {
    ofTruth.assign(comparison.truths[frame].size(), 0.0);
    ofTrack.assign(comparison.tracks[frame].size(), 0.0);
    for (const Overlap& each : comparison.overlaps[frame]) {
      ofTruth[each.truth] += each.iou;
      ofTrack[each.track] += each.iou;
    }
    for (const Overlap& each : comparison.overlaps[frame]) {
      const double all = ofTrack[each.track] + ofTruth[each.truth] - each.iou;
      if (all > kEpsilon) common[each.pair] += each.iou / all;
    }
  }
  for (std::size_t i = 0; i < common.size(); ++i) {
    const auto [truth, track] = comparison.pairs[i];
    const auto boxes = static_cast<double>(comparison.truthLengths[truth] + comparison.trackLengths[track]);
    common[i] /= boxes - common[i];
  }
  return common;
}

}  // namespace

Hota::Hota(const Comparison& comparison)
    : truthBoxes(static_cast<double>(comparison.truthBoxes())),
      trackBoxes(static_cast<double>(comparison.trackBoxes())) {
  const auto thresholds = hotaThresholds();
  const std::vector<double> alignments = alignmentsOf(comparison);
  std::vector<std::array<std::size_t, kHotaThresholds>> together(comparison.pairs.size());
  AssignmentSolver solver;
  CostMatrix costs;
  for (std::size_t frame = 0; frame < comparison.frameCount(); ++frame) {
    const auto overlaps = comparison.overlaps[frame];
    if (overlaps.empty()) continue;
    costs.reset(comparison.truths[frame].size(), comparison.tracks[frame].size());
    for (const Overlap& each : overlaps) costs.at(each.truth, each.track) = -(alignments[each.pair] * each.iou);
    const std::vector<int>& columns = solver.solve(costs);
    for (const Overlap& each : overlaps) {
      if (columns[each.truth] != static_cast<int>(each.track)) continue;
      for (std::size_t i = 0; i < kHotaThresholds && each.iou >= thresholds[i] - kEpsilon; ++i) {
        found[i] += 1.0;
        overlapSum[i] += each.iou;
        ++together[each.pair][i];
      }
    }
  }
  addAssociations(comparison, together);
}

/// @param together How often each pair of identities was found together.
void Hota::addAssociations(const Comparison& comparison,
                           const std::vector<std::array<std::size_t, kHotaThresholds>>& together) {
  for (std::size_t pair = 0; pair < together.size(); ++pair) {
    const auto truthLength = static_cast<double>(comparison.truthLengths[comparison.pairs[pair].truth]);
    const auto trackLength = static_cast<double>(comparison.trackLengths[comparison.pairs[pair].track]);
    for (std::size_t i = 0; i < kHotaThresholds && together[pair][i] > 0; ++i) {
      const auto times = static_cast<double>(together[pair][i]);
      assASum[i] += times * (times / (truthLength + trackLength - times));
      assReSum[i] += times * (times / truthLength);
      assPrSum[i] += times * (times / trackLength);
    }
  }
}

Hota& Hota::operator+=(const Hota& other) {
  truthBoxes += other.truthBoxes;
  trackBoxes += other.trackBoxes;
  for (const auto sum : {&Hota::found, &Hota::overlapSum, &Hota::assASum, &Hota::assReSum, &Hota::assPrSum}) {
    for (std::size_t i = 0; i < kHotaThresholds; ++i) (this->*sum)[i] += (other.*sum)[i];
  }
  return *this;
}

PerThreshold Hota::falseNegatives() const {
  return perThreshold([this](std::size_t i) { return truthBoxes - found[i]; });
}
PerThreshold Hota::falsePositives() const {
  return perThreshold([this](std::size_t i) { return trackBoxes - found[i]; });
}
PerThreshold Hota::hota() const { return rootOfProduct(detA(), assA()); }
PerThreshold Hota::owta() const { return rootOfProduct(detRe(), assA()); }
PerThreshold Hota::detA() const {
  return perThreshold([this](std::size_t i) { return found[i] / std::max(1.0, truthBoxes + trackBoxes - found[i]); });
}
PerThreshold Hota::detRe() const {
  return perThreshold([this](std::size_t i) { return found[i] / std::max(1.0, truthBoxes); });
}
PerThreshold Hota::detPr() const {
  return perThreshold([this](std::size_t i) { return found[i] / std::max(1.0, trackBoxes); });
}
PerThreshold Hota::assA() const {
  return perThreshold([this](std::size_t i) { return assASum[i] / std::max(1.0, found[i]); });
}
PerThreshold Hota::assRe() const {
  return perThreshold([this](std::size_t i) { return assReSum[i] / std::max(1.0, found[i]); });
}
PerThreshold Hota::assPr() const {
  return perThreshold([this](std::size_t i) { return assPrSum[i] / std::max(1.0, found[i]); });
}
PerThreshold Hota::locA() const {
  return perThreshold([this](std::size_t i) { return found[i] > 0.0 ? overlapSum[i] / found[i] : 1.0; });
}

}  // namespace nivra::hostkit
