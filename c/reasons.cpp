#include "reasons.h"

#include <cmath>
#include <cstddef>
#include <utility>

namespace nivra::c {

namespace {

/// Turns positions among a frame's detections into the caller's ids.
struct Naming {
  const std::vector<ObjectDetection>& detections;

  void operator()(std::size_t& position) const { position = static_cast<std::size_t>(detections[position].id); }

  void operator()(InBetweenExplanation& explanation) const {
    operator()(explanation.middle);
    for (std::size_t& each : explanation.neighbours) operator()(each);
  }
  void operator()(PairExplanation& explanation) const {
    operator()(explanation.pair.detection);
    operator()(explanation.rival.detection);
  }
  void operator()(RevivalExplanation& /*explanation*/) const {}
  void operator()(TrackExplanation& explanation) const {
    if (explanation.detection) operator()(*explanation.detection);
  }
};

std::int32_t idOf(std::size_t detection) { return static_cast<std::int32_t>(detection); }

/// Fills in what the subject has.
struct Filling {
  nivra_reason& target;

  void operator()(const InBetweenExplanation& explanation) const {
    target.subject = NIVRA_IN_BETWEEN;
    target.detection = idOf(explanation.middle);
    for (std::size_t i = 0; i < 2; ++i) target.neighbours[i] = idOf(explanation.neighbours[i]);
    target.outcome = "between";
    for (const Verdict& each : explanation.verdicts) {
      if (!each.holds) target.outcome = "apart";
    }
  }
  void operator()(const PairExplanation& explanation) const {
    target.subject = NIVRA_PAIR;
    target.track = explanation.pair.track;
    target.detection = idOf(explanation.pair.detection);
    if (fillDecision(explanation)) {
      target.rival_track = explanation.rival.track;
      target.rival_detection = idOf(explanation.rival.detection);
    }
  }
  void operator()(const RevivalExplanation& explanation) const {
    target.subject = NIVRA_REVIVAL;
    target.track = explanation.pair.lost;
    target.other = explanation.pair.young;
    if (fillDecision(explanation)) {
      target.rival_track = explanation.rival.lost;
      target.rival_other = explanation.rival.young;
    }
  }
  void operator()(const TrackExplanation& explanation) const {
    target.subject = NIVRA_CHANGE;
    target.track = explanation.track;
    if (explanation.other) target.other = *explanation.other;
    if (explanation.detection) target.detection = idOf(*explanation.detection);
    target.outcome = nameOf(explanation.change);
  }

 private:
  /// @return Whether there is a rival.
  bool fillDecision(const Decision& decision) const {
    target.outcome = nameOf(decision.outcome);
    if (decision.cost) target.cost = *decision.cost;
    return decision.outcome == Decision::Outcome::outbid;
  }
};

}  // namespace

void ReasonKeeper::clear() {
  coming.clear();
  reasons.clear();
}

void ReasonKeeper::nameDetections(const std::vector<ObjectDetection>& detections) {
  for (Reason& each : coming) std::visit(Naming{detections}, each);
  reasons.swap(coming);
}

nivra_reason asStruct(const Reason& reason) {
  nivra_reason filled = {-1, -1, -1, -1, {-1, -1}, -1, -1, -1, NAN, "", verdictsOf(reason).size()};
  std::visit(Filling{filled}, reason);
  return filled;
}

const std::vector<Verdict>& verdictsOf(const Reason& reason) {
  return std::visit([](const auto& each) -> const std::vector<Verdict>& { return each.verdicts; }, reason);
}

std::string sentenceOf(const Reason& reason) {
  return std::visit([](const auto& each) { return inWords(each); }, reason);
}

}  // namespace nivra::c
