#pragma once

#include <vector>

#include "nivra/explanation.h"

namespace nivra::test {

/// Keeps all that it is told of a frame.
struct RecordingExplainer : Explainer {
  void explainInBetween(const InBetweenExplanation& explanation) override { inBetweens.push_back(explanation); }
  void explainPair(const PairExplanation& explanation) override { pairs.push_back(explanation); }
  void explainRevival(const RevivalExplanation& explanation) override { revivals.push_back(explanation); }
  void explainTrack(const TrackExplanation& explanation) override { tracks.push_back(explanation); }

  void clear() {
    inBetweens.clear();
    pairs.clear();
    revivals.clear();
    tracks.clear();
  }

  std::vector<InBetweenExplanation> inBetweens;
  std::vector<PairExplanation> pairs;
  std::vector<RevivalExplanation> revivals;
  std::vector<TrackExplanation> tracks;
};

}  // namespace nivra::test
