#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/detectionRange.h"
#include "filters/filterGates.h"
#include "matching/contest.h"
#include "matching/detectionIndex.h"
#include "matching/greedyMatching.h"
#include "matching/trackIndex.h"
#include "nivra/kalmanBoxFilter.h"
#include "nivra/objectTracker.h"
#include "nivra/trackerParams.h"
#include "vanilla/boxGate.h"
#include "vanilla/placeEstimate.h"

namespace nivra {

/// Which detection of a frame each track takes, for trackers that match by observation likelihood.
///
/// What a pair must pass is what `Track::canAssociate` tests, by the same functions; but labels are looked up and boxes
/// taken apart once per detection, and a track meets only the detections within the reach of its gates. Keeps its
/// memory from frame to frame.
template <class Track>
class LikelihoodMatching {
 public:
  /// @param widthFactorLimitOf Gives the limit on the horizontal offset of a detection by its label.
  template <class WidthFactorLimitOf>
  LikelihoodMatching(const vanilla::TrackerParams& trackerParams, const LabelAssociations& associations,
                     WidthFactorLimitOf widthFactorLimitOf)
      : params(trackerParams), index(associations) {
    for (const std::string& label : index.getLabels().getLabels()) limits.push_back(widthFactorLimitOf(label));
    const auto isNarrower = [](const auto& a, const auto& b) { return a.widths < b.widths; };
    widestLimit = std::max_element(limits.begin(), limits.end(), isNarrower)->widths;
  }

  /// Lists all pairs that pass the track's gates, track by track.
  void findPairs(const std::vector<Track>& tracks, DetectionRange detections) {
    matching.reset(tracks.size(), detections.size());
    prepare(detections);
    for (std::uint32_t i = 0; i < tracks.size(); ++i) {
      visitDetectionsOf(
          tracks[i], [](std::uint32_t) { return true; },
          [&](std::uint32_t detection, float) { matching.propose(i, detection); });
    }
  }

  const LabelTable& getLabels() const { return index.getLabels(); }
  const std::vector<GreedyMatching::Pair>& getPairs() const { return matching.getPairs(); }

  /// Minus the likelihood of a pair found.
  float costOf(const std::vector<Track>& tracks, const GreedyMatching::Pair& pair) const {
    return -tracks[pair.first].getBoxFilter().likelihoodOf(measurements[pair.second]);
  }

  /// Chooses among all pairs that pass the gates. Tracks once confirmed come before tentative ones, which only get what
  /// no confirmed track took, however well it fits; within each the higher likelihood decides.
  void match(const std::vector<Track>& tracks, DetectionRange detections) {
    prepare(detections);
    matching.match(
        tracks.size(), detections.size(),
        [&](std::uint32_t track, auto isWanted, auto visit) { visitDetectionsOf(tracks[track], isWanted, visit); },
        [&](std::uint32_t detection, auto isWanted, auto visit) { visitTracksOf(tracks, detection, isWanted, visit); },
        [&](const GreedyMatching::Pair& pair) { return turnOf(tracks, pair).order(); },
        [&](const GreedyMatching::Pair& pair) {
          if (places.empty()) estimatePlaces(tracks);
          return places[pair.first].rangeOf(measurements[pair.second]);
        });
  }

  Turn turnOf(const std::vector<Track>& tracks, const GreedyMatching::Pair& pair) const {
    return {tracks[pair.first].isTentative() ? 1U : 0U, costOf(tracks, pair)};
  }

  /// The detection that a track takes, or `GreedyMatching::kNone`.
  std::uint32_t detectionOf(std::uint32_t track) const { return matching.partnerOf(track); }
  bool isLeft(std::uint32_t detection) const { return matching.isFree(detection); }

  /// Tells of every pair near enough to matter what became of it: tell(pair, decision, the pair that won).
  template <class Tell>
  void explain(const std::vector<Track>& tracks, DetectionRange detections, RuleSection section, Tell tell) const {
    for (std::uint32_t i = 0; i < tracks.size(); ++i) {
      const vanilla::BoxGate gate(tracks[i].getBoxFilter(), params);
      const Box box = tracks[i].getClampedBox();
      const LabelTable::Admissible admissible = getLabels().admissibleTo(getLabels().numberOf(tracks[i].getLabel()));
      for (std::uint32_t k = 0; k < detections.size(); ++k) {
        PairHearing hear(section, areNear(box, detections[k].box));
        const bool isAdmissible = admissible.contains(index.labelNumberOf(k));
        if (hear(Rule::label, isAdmissible ? 0 : 1, 0, isAdmissible)) accepts(tracks[i], gate, k, hear);
        if (!hear.isWorthTelling()) continue;
        const GreedyMatching::Pair pair = {i, k, 0.0F};
        GreedyMatching::Pair winner = pair;
        Decision decision;
        if (hear.isAdmitted()) {
          const auto turn = [&](const GreedyMatching::Pair& each) { return turnOf(tracks, each); };
          winner = settle(matching, pair, turn, hear.rest(), decision);
        }
        decision.verdicts = hear.rest().take();
        tell(pair, std::move(decision), winner);
      }
    }
  }

 private:
  void prepare(DetectionRange detections) {
    measurements.clear();
    for (const ObjectDetection& detection : detections) {
      measurements.push_back(KalmanBoxFilter::measure(detection.box));
    }
    index.fill(detections, [this](std::uint32_t i) { return placeOf(i); });
    trackIndex.clear();
    places.clear();
  }

  /// Nothing for a detection that every track's gates have to look at.
  std::optional<Point> placeOf(std::uint32_t detection) const {
    const auto [x, y, w, h] = measurements[detection];
    return vanilla::BoxGate::isInReach(w, h) ? std::optional(Point{x, y}) : std::nullopt;
  }

  template <class Hear = Unheard>
  bool accepts(const Track& track, const vanilla::BoxGate& gate, std::uint32_t detection, Hear&& hear = {}) const {
    const KalmanBoxFilter::Measurement& measurement = measurements[detection];
    return gate.accepts(measurement, limits[index.labelNumberOf(detection)], hear) &&
           isNearPrediction(track.getBoxFilter(), measurement, hear);
  }

  /// Calls visit(detection, cost) for the wanted ones that pass the track's gates. The cost is left to `costOf`, since
  /// most pairs have no rival and need none.
  template <class IsWanted, class Visit>
  void visitDetectionsOf(const Track& track, IsWanted isWanted, Visit visit) {
    const vanilla::BoxGate gate(track.getBoxFilter(), params);
    index.visitAdmissible(getLabels().numberOf(track.getLabel()), gate.reach(widestLimit), [&](std::uint32_t i) {
      if (isWanted(i) && accepts(track, gate, i)) visit(i, 0.0F);
    });
  }

  /// Calls visit(track, cost) for the wanted ones whose gates the detection passes.
  template <class IsWanted, class Visit>
  void visitTracksOf(const std::vector<Track>& tracks, std::uint32_t detection, IsWanted isWanted, Visit visit) {
    if (trackIndex.isEmpty()) indexTracks(tracks);
    const std::uint32_t label = index.labelNumberOf(detection);
    const auto visitIfAccepted = [&](std::uint32_t i) {
      if (!isWanted(i) || !getLabels().admissibleTo(trackLabels[i]).contains(label)) return;
      if (accepts(tracks[i], gates[i], detection)) visit(i, 0.0F);
    };
    if (const std::optional<Point> place = placeOf(detection)) {
      trackIndex.visit(*place, visitIfAccepted);
    } else {
      for (std::uint32_t i = 0; i < tracks.size(); ++i) visitIfAccepted(i);
    }
  }

  void estimatePlaces(const std::vector<Track>& tracks) {
    for (const Track& track : tracks) places.emplace_back(track.getBoxFilter(), track.isTentative());
  }

  void indexTracks(const std::vector<Track>& tracks) {
    gates.clear();
    trackLabels.clear();
    for (const Track& track : tracks) {
      gates.emplace_back(track.getBoxFilter(), params);
      trackLabels.push_back(getLabels().numberOf(track.getLabel()));
      trackIndex.add(gates.back().reach(widestLimit));
    }
    trackIndex.build();
  }

  const vanilla::TrackerParams& params;
  DetectionIndex index;                                    // by the centre of the box
  std::vector<KalmanBoxFilter::Measurement> measurements;  // by detection
  std::vector<vanilla::OffsetLimit> limits;                // by label number
  float widestLimit = 0.0F;
  TrackIndex trackIndex;                // where a detection is to find its tracks
  std::vector<vanilla::BoxGate> gates;  // likewise, by track
  std::vector<std::uint32_t> trackLabels;
  std::vector<vanilla::PlaceEstimate> places;  // likewise
  GreedyMatching matching;
};

}  // namespace nivra
