#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "core/detectionRange.h"
#include "core/hearing.h"
#include "nivra/explanation.h"
#include "nivra/trackerParams.h"
#include "vanilla/lifeRules.h"
#include "vanilla/likelihoodMatching.h"

namespace nivra {

/// Goes along with the steps of a frame of the trackers that match by likelihood, and tells the host why they end as
/// they do.
template <class Track>
class LikelihoodExplaining {
 public:
  LikelihoodExplaining(const vanilla::TrackerParams& trackerParams, RuleSection ruleSection)
      : params(trackerParams), section(ruleSection) {}

  void tell(Explainer* newExplainer) { explainer = newExplainer; }

  /// Comes behind the matching, before the tracks take it in.
  void explainMatching(const std::vector<Track>& tracks, DetectionRange detections,
                       const LikelihoodMatching<Track>& matching) {
    if (explainer == nullptr) return;
    wasTentative.clear();
    for (const Track& track : tracks) wasTentative.push_back(track.isTentative() ? 1 : 0);
    const auto membersOf = [&](const GreedyMatching::Pair& pair) {
      return PairExplanation::Members{tracks[pair.first].getId(), pair.second};
    };
    matching.explain(tracks, detections, section, [&](const auto& pair, Decision decision, const auto& winner) {
      explainer->explainPair({std::move(decision), membersOf(pair), membersOf(winner)});
    });
  }

  /// Comes behind the last step that changes tracks, before those that expired are taken out.
  void explainLives(const std::vector<Track>& tracks, const LikelihoodMatching<Track>& matching,
                    unsigned long long timestamp) {
    if (explainer == nullptr) return;
    explainStarts(tracks, matching);
    for (std::uint32_t i = 0; i < tracks.size(); ++i) explainLife(tracks[i], i, matching, timestamp);
  }

 private:
  using Change = TrackExplanation::Change;

  void explainStarts(const std::vector<Track>& tracks, const LikelihoodMatching<Track>& matching) {
    std::size_t detection = 0;
    for (std::size_t i = wasTentative.size(); i < tracks.size(); ++i, ++detection) {
      while (!matching.isLeft(static_cast<std::uint32_t>(detection))) ++detection;
      explainer->explainTrack({tracks[i].getId(), Change::began, std::nullopt, detection, {}});
    }
  }

  void explainLife(const Track& track, std::uint32_t position, const LikelihoodMatching<Track>& matching,
                   unsigned long long timestamp) {
    const float likelihood = track.getSmoothedObservationLogLikelihood();
    Hearing hear(section);
    TrackExplanation explanation;
    explanation.track = track.getId();
    if (position < wasTentative.size() && matching.detectionOf(position) != GreedyMatching::kNone) {
      explanation.detection = matching.detectionOf(position);
      // A track that refused the detection, since its time is another one, is not judged by it.
      const bool isTaken = track.getPredictionTimestamp() == timestamp;
      if (isTaken && wasTentative[position] != 0 && vanilla::isConfirmed(likelihood, params, hear)) {
        explanation.change = Change::confirmed;
      }
    }
    vanilla::isConfident(likelihood, params, hear);
    if (!vanilla::survives(likelihood, params, hear)) explanation.change = Change::ended;
    explanation.verdicts = hear.take();
    explainer->explainTrack(explanation);
  }

  const vanilla::TrackerParams& params;
  RuleSection section;
  Explainer* explainer = nullptr;
  std::vector<char> wasTentative;  // by track, before the frame's detections were taken in
};

}  // namespace nivra
