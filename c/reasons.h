#pragma once

#include <string>
#include <variant>
#include <vector>

#include "nivra/c/nivra.h"
#include "nivra/nivra.h"

namespace nivra::c {

using Reason = std::variant<InBetweenExplanation, PairExplanation, RevivalExplanation, TrackExplanation>;

/// Keeps the reasons of a frame.
class ReasonKeeper final : public Explainer {
 public:
  /// A frame begins.
  void clear();
  /// It is complete: detections are told by the caller's ids from now on.
  void nameDetections(const std::vector<ObjectDetection>& detections);
  /// Those of the last frame that was completed.
  const std::vector<Reason>& all() const { return reasons; }

  void explainInBetween(const InBetweenExplanation& explanation) override { coming.emplace_back(explanation); }
  void explainPair(const PairExplanation& explanation) override { coming.emplace_back(explanation); }
  void explainRevival(const RevivalExplanation& explanation) override { coming.emplace_back(explanation); }
  void explainTrack(const TrackExplanation& explanation) override { coming.emplace_back(explanation); }

 private:
  std::vector<Reason> coming;
  std::vector<Reason> reasons;
};

nivra_reason asStruct(const Reason& reason);
const std::vector<Verdict>& verdictsOf(const Reason& reason);
std::string sentenceOf(const Reason& reason);

}  // namespace nivra::c
