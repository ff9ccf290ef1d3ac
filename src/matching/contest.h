#pragma once

#include <algorithm>
#include <cstdint>
#include <tuple>

#include "core/hearing.h"
#include "matching/greedyMatching.h"

namespace nivra {

/// What the matching orders pairs by.
struct Turn {
  unsigned rank;
  float cost;

  std::uint64_t order() const { return matchingOrder(rank, cost); }
};

/// Tells what became of a pair that passed all gates.
/// @param turnOf Gives the turn of a pair by which the matching was made.
/// @return The pair that won; the pair itself if it did.
template <class TurnOf>
GreedyMatching::Pair settle(const GreedyMatching& matching, const GreedyMatching::Pair& pair, TurnOf turnOf,
                            Hearing& hear, Decision& decision) {
  const Turn turn = turnOf(pair);
  decision.cost = turn.cost;
  decision.outcome = matching.isAccepted(pair) ? Decision::Outcome::matched : Decision::Outcome::outbid;
  if (decision.outcome == Decision::Outcome::matched) return pair;

  const auto placeOf = [&](const GreedyMatching::Pair& each) {
    return std::tuple(turnOf(each).order(), each.first, each.second);
  };
  GreedyMatching::Pair rival = pair;  // of those that took one of the two away, the earlier one
  if (!matching.isFirstFree(pair.first)) rival.second = matching.partnerOf(pair.first);
  if (!matching.isFree(pair.second)) {
    const GreedyMatching::Pair other = {matching.firstOf(pair.second), pair.second, 0.0F};
    if (rival.second == pair.second || placeOf(other) < placeOf(rival)) rival = other;
  }

  const Turn winner = turnOf(rival);
  if (turn.rank != winner.rank) {
    hear(Rule::turn, turn.rank, winner.rank, false);
  } else if (turn.order() != winner.order()) {
    hear(Rule::cost, turn.cost, winner.cost, false);
  } else if (rival.first != pair.first) {
    hear(Rule::order, pair.first, rival.first, false);
  } else {
    hear(Rule::order, pair.second, rival.second, false);
  }
  return rival;
}

}  // namespace nivra
