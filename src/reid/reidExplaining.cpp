#include "reid/reidExplaining.h"

#include <optional>
#include <utility>

#include "core/hearing.h"
#include "matching/contest.h"
#include "reid/lifeRules.h"
#include "reid/pairRules.h"

namespace nivra::reid {

namespace {

using Change = TrackExplanation::Change;
using Pair = GreedyMatching::Pair;

Change changeOf(TrackState before, TrackState after) {
  if (before == after) return Change::none;
  switch (after) {
    case TrackState::Confident:
      return Change::confirmed;
    case TrackState::Inactive:
      return Change::lost;
    default:
      return Change::ended;
  }
}

}  // namespace

void ReidExplaining::explainInbetween(DetectionRange detections, InbetweenSearch& search, float aspect) {
  if (explainer == nullptr) return;
  search.explain(detections, params.inBetween, aspect,
                 [&](std::uint32_t middle, std::uint32_t one, std::uint32_t other, std::vector<Verdict> verdicts) {
                   explainer->explainInBetween({middle, {one, other}, std::move(verdicts)});
                 });
}

void ReidExplaining::explainMatching(const std::vector<ObjectTrack*>& tracks, DetectionRange detections,
                                     const std::vector<char>& isInbetween, const DetectionMatching& matching) {
  if (explainer == nullptr) return;
  const LabelTable& labels = matching.getLabels();
  std::vector<std::uint32_t> detectionLabels;
  for (const ObjectDetection& detection : detections) detectionLabels.push_back(labels.numberOf(detection.label));
  for (std::uint32_t i = 0; i < tracks.size(); ++i) {
    const LabelTable::Admissible admissible = labels.admissibleTo(labels.numberOf(tracks[i]->getLabel()));
    for (std::uint32_t k = 0; k < detections.size(); ++k) {
      explainPair(tracks, detections, isInbetween, matching, {i, k, 0.0F}, admissible.contains(detectionLabels[k]));
    }
  }
}

void ReidExplaining::explainPair(const std::vector<ObjectTrack*>& tracks, DetectionRange detections,
                                 const std::vector<char>& isInbetween, const DetectionMatching& matching,
                                 const Pair& pair, bool isAdmissible) {
  const auto costOf = [&](const Pair& each, auto&& hear) {
    const ObjectDetection& detection = detections[each.second];
    return gatedCost(*tracks[each.first], detection, featureOf(detection), params, hear);
  };
  const auto turnOf = [&](const Pair& each) {
    return Turn{rankOf(*tracks[each.first], isInbetween[each.second] != 0), costOf(each, Unheard()).value()};
  };
  const auto membersOf = [&](const Pair& each) {
    return PairExplanation::Members{tracks[each.first]->getId(), each.second};
  };

  PairHearing hear(RuleSection::usual, areNear(tracks[pair.first]->getBox(), detections[pair.second].box));
  if (hear(Rule::label, isAdmissible ? 0 : 1, 0, isAdmissible)) costOf(pair, hear);
  if (!hear.isWorthTelling()) return;
  PairExplanation explanation{{}, membersOf(pair), membersOf(pair)};
  if (hear.isAdmitted()) {
    explanation.rival = membersOf(settle(matching.getMatching(), pair, turnOf, hear.rest(), explanation));
  }
  explanation.verdicts = hear.rest().take();
  explainer->explainPair(explanation);
}

void ReidExplaining::explainActive(const std::vector<ObjectTrack*>& tracks, const DetectionMatching& matching,
                                   unsigned long long timestamp) {
  if (explainer == nullptr) return;
  for (std::uint32_t i = 0; i < tracks.size(); ++i) {
    const Life life = tracks[i]->getLife();
    const std::uint32_t detection = matching.detectionOf(i);
    Hearing hear;
    TrackState state = life.state;
    TrackExplanation explanation;
    explanation.track = tracks[i]->getId();
    if (detection == GreedyMatching::kNone) {
      state = stateWithoutDetection(life, timestamp, params, hear);
    } else {
      explanation.detection = detection;
      // A track refuses the detection if its time is another one.
      if (life.predicted == timestamp) state = stateWithDetection(life, timestamp, params, hear);
    }
    explanation.change = changeOf(life.state, state);
    explanation.verdicts = hear.take();
    explainer->explainTrack(explanation);
  }
}

void ReidExplaining::explainRevivals(const std::vector<ObjectTrack>& tracks, const std::vector<ObjectTrack*>& inactive,
                                     const std::vector<ObjectTrack*>& pending, const GreedyMatching& revivals,
                                     unsigned long long timestamp) {
  if (explainer == nullptr) return;
  const auto turnOf = [&](const Pair& each) {
    return Turn{0, revivalCost(*inactive[each.first], *pending[each.second], Unheard()).value()};
  };
  const auto membersOf = [&](const Pair& each) {
    return RevivalExplanation::Members{inactive[each.first]->getId(), pending[each.second]->getId()};
  };
  for (std::uint32_t i = 0; i < inactive.size(); ++i) {
    for (std::uint32_t k = 0; k < pending.size(); ++k) {
      const Pair pair = {i, k, 0.0F};
      Hearing hear;
      RevivalExplanation explanation{{}, membersOf(pair), membersOf(pair)};
      if (areComparable(*inactive[i], *pending[k], hear) && revivalCost(*inactive[i], *pending[k], hear)) {
        explanation.rival = membersOf(settle(revivals, pair, turnOf, hear, explanation));
      }
      explanation.verdicts = hear.take();
      explainer->explainRevival(explanation);
    }
  }

  std::size_t firstPending = 0;
  for (const ObjectTrack& track : tracks) {
    const bool isPending = firstPending < pending.size() && pending[firstPending] == &track;
    if (track.getDetection() == nullptr || track.getState() != TrackState::Confident) continue;
    const std::uint32_t lost =
        isPending ? revivals.firstOf(static_cast<std::uint32_t>(firstPending++)) : GreedyMatching::kNone;
    explainYoung(track, lost == GreedyMatching::kNone ? nullptr : inactive[lost], timestamp);
  }
  for (std::uint32_t i = 0; i < inactive.size(); ++i) {
    const std::uint32_t young = revivals.partnerOf(i);
    explainLost(*inactive[i], young == GreedyMatching::kNone ? nullptr : pending[young], timestamp);
  }
}

/// @param lost That goes on in its place; null if none does.
void ReidExplaining::explainYoung(const ObjectTrack& track, const ObjectTrack* lost, unsigned long long timestamp) {
  Hearing hear;
  TrackExplanation explanation;
  explanation.track = track.getId();
  if (isOldEnough(track.getLife(), timestamp, params, hear)) {
    explanation.change = lost != nullptr ? Change::merged : Change::identified;
    if (lost != nullptr) explanation.other = lost->getId();
  }
  explanation.verdicts = hear.take();
  explainer->explainTrack(explanation);
}

/// @param young That revives it; null if none does.
void ReidExplaining::explainLost(const ObjectTrack& track, const ObjectTrack* young, unsigned long long timestamp) {
  Hearing hear;
  TrackExplanation explanation;
  explanation.track = track.getId();
  if (young != nullptr) {
    explanation.change = Change::revived;
    explanation.other = young->getId();
  } else {
    const Life life = track.getLife();
    explanation.change = changeOf(life.state, stateWithoutDetection(life, timestamp, params, hear));
  }
  explanation.verdicts = hear.take();
  explainer->explainTrack(explanation);
}

void ReidExplaining::explainStart(const ObjectTrack& track, std::size_t detection) {
  if (explainer == nullptr) return;
  explainer->explainTrack({track.getId(), Change::began, std::nullopt, detection, {}});
}

}  // namespace nivra::reid
