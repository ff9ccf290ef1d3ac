#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/detectionIndex.h"
#include "core/detectionRange.h"
#include "core/greedyMatching.h"
#include "nivra/kalmanBoxFilter.h"
#include "nivra/objectTracker.h"
#include "nivra/trackerParams.h"
#include "vanilla/boxGate.h"

namespace nivra {

/// Which detection of a frame each track takes, for trackers that match by observation likelihood.
///
/// What a pair must pass is what `Track::canAssociate` tests, by the same functions; but labels are looked up and boxes
/// taken apart once per detection, and a track meets only the detections within the reach of its gates. Keeps its
/// memory from frame to frame.
template <class Track>
class LikelihoodMatching {
 public:
  LikelihoodMatching(const vanilla::TrackerParams& trackerParams, const LabelAssociations& associations)
      : params(trackerParams), index(associations) {
    for (const std::string& label : index.getLabels().getLabels()) {
      limits.push_back(Track::widthFactorLimit(params, label));
    }
    widestLimit = *std::max_element(limits.begin(), limits.end());
  }

  /// Finds all pairs that pass the track's gates, track by track.
  void findPairs(const std::vector<Track>& tracks, DetectionRange detections) {
    matching.reset(tracks.size(), detections.size());
    prepare(detections);
    for (std::uint32_t i = 0; i < tracks.size(); ++i) findPairsOf(tracks[i], i);
  }

  const LabelTable& getLabels() const { return index.getLabels(); }
  const std::vector<GreedyMatching::Pair>& getPairs() const { return matching.getPairs(); }

  /// Minus the likelihood of a pair found.
  float costOf(const std::vector<Track>& tracks, const GreedyMatching::Pair& pair) const {
    return -tracks[pair.first].getBoxFilter().likelihoodOf(measurements[pair.second]);
  }

  /// Chooses among the pairs found. Tracks once confirmed come before tentative ones, which only get what no confirmed
  /// track took, however well it fits; within each the higher likelihood decides.
  void match(const std::vector<Track>& tracks) {
    matching.match([&](const GreedyMatching::Pair& pair) {
      return matchingOrder(tracks[pair.first].isTentative() ? 1 : 0, costOf(tracks, pair));
    });
  }

  /// The detection that a track takes, or `GreedyMatching::kNone`.
  std::uint32_t detectionOf(std::uint32_t track) const { return matching.partnerOf(track); }
  bool isLeft(std::uint32_t detection) const { return matching.isFree(detection); }

 private:
  void prepare(DetectionRange detections) {
    measurements.clear();
    for (const ObjectDetection& detection : detections) {
      measurements.push_back(KalmanBoxFilter::measure(detection.box));
    }
    index.fill(detections, [this](std::uint32_t i) -> std::optional<Point> {
      const auto [x, y, w, h] = measurements[i];
      return vanilla::BoxGate::isInReach(w, h) ? std::optional(Point{x, y}) : std::nullopt;
    });
  }

  void findPairsOf(const Track& track, std::uint32_t position) {
    const KalmanBoxFilter& filter = track.getBoxFilter();
    const vanilla::BoxGate gate(filter, params);
    index.visitAdmissible(track.getLabelNumber(index.getLabels()), gate.reach(widestLimit), [&](std::uint32_t i) {
      const float limit = limits[index.labelNumberOf(i)];
      if (gate.accepts(measurements[i], limit) && filter.accepts(measurements[i])) matching.propose(position, i);
    });
  }

  const vanilla::TrackerParams& params;
  DetectionIndex index;                                    // by the centre of the box
  std::vector<KalmanBoxFilter::Measurement> measurements;  // by detection
  std::vector<float> limits;                               // on the horizontal offset, by label number
  float widestLimit = 0.0F;
  GreedyMatching matching;
};

/// A tracker's filter parameters, for tracks that end before it does.
inline std::shared_ptr<const KalmanBoxParams> lendFilterParams(const vanilla::TrackerParams& params) {
  return {std::shared_ptr<const KalmanBoxParams>(), &params.kalmanParams};
}

/// One frame's matching: matched tracks take their detections in, the others age.
/// @param start Starts a track from a detection that no track took.
template <class Track, class Start>
void updateTracksByLikelihood(std::vector<Track>& tracks, DetectionRange detections, unsigned long long timestamp,
                              LikelihoodMatching<Track>& matching, Start start) {
  matching.findPairs(tracks, detections);
  matching.match(tracks);
  for (std::uint32_t i = 0; i < tracks.size(); ++i) {
    const std::uint32_t detection = matching.detectionOf(i);
    if (detection == GreedyMatching::kNone) {
      tracks[i].emptyUpdate();
    } else {
      tracks[i].update(detections[detection], timestamp);
    }
  }
  for (std::uint32_t i = 0; i < detections.size(); ++i) {
    if (matching.isLeft(i)) start(detections[i]);
  }
}

/// The pairs that pass the gates in the trackers' own terms: detection by detection, within each track by track.
template <class Candidate, class Track>
std::vector<Candidate> associateByLikelihood(std::vector<Track>& tracks, const std::vector<ObjectDetection>& detections,
                                             LikelihoodMatching<Track>& matching) {
  matching.findPairs(tracks, DetectionRange(detections));
  std::vector<Candidate> candidates;
  for (const GreedyMatching::Pair& pair : matching.getPairs()) {
    candidates.push_back({&tracks[pair.first], &detections[pair.second], matching.costOf(tracks, pair)});
  }
  // Stable, so that the tracks of one detection keep their order.
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) { return a.detection < b.detection; });
  return candidates;
}

}  // namespace nivra
