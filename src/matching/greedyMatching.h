#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <tuple>
#include <vector>

#include "matching/pairLimit.h"

namespace nivra {

/// Pairs the elements of two sequences one to one, best pairs first: of all pairs proposed, in their order, each is
/// accepted whose two elements are both still free. Keeps its memory from frame to frame, which is linear in the
/// elements unless a caller proposes all pairs by itself.
class GreedyMatching {
 public:
  /// Position of a partner that doesn't exist.
  static constexpr std::uint32_t kNone = UINT32_MAX;

  struct Pair {
    std::uint32_t first;
    std::uint32_t second;
    float cost;
  };

  /// Forgets all pairs; all elements are free.
  void reset(std::size_t firsts, std::size_t seconds) {
    pairs.clear();
    ofFirst.assign(firsts, {});
    ofSecond.assign(seconds, {});
  }

  void propose(std::uint32_t first, std::uint32_t second, float cost = 0.0F) {
    pairs.push_back({first, second, cost});
    ++ofFirst[first].proposals;
    ++ofSecond[second].proposals;
  }

  /// Accepts what is possible of the pairs proposed.
  /// @param orderOf Gives a pair's place in the order, see `matchingOrder`; equal places are settled by the first
  ///   element's position, then the second's, so the order is total. Not asked for a pair without a rival for either
  ///   element, whose turn makes no difference.
  template <class OrderOf>
  void match(OrderOf orderOf) {
    rivals.clear();
    for (const Pair& pair : pairs) {
      if (ofFirst[pair.first].proposals == 1 && ofSecond[pair.second].proposals == 1) {
        accept(pair);
      } else {
        rivals.push_back({orderOf(pair), pair});
      }
    }
    std::sort(rivals.begin(), rivals.end());
    for (const Rival& rival : rivals) {
      if (isFirstFree(rival.pair.first) && isFree(rival.pair.second)) accept(rival.pair);
    }
  }

  /// Where a pair stands in an order of the caller's own, as far as a quick look tells: from the least place that it
  /// may have to the greatest. Not a number where nothing is known.
  struct PlaceRange {
    double least;
    double most;
  };

  /// Accepts what is possible of all pairs there are, and lists no more of them than are worth it.
  /// @param visitSeconds visitSeconds(first, isWanted, visit) calls visit(second, cost), in any order, for every
  ///   element with isWanted(second) that the first one may be paired with.
  /// @param visitFirsts visitFirsts(second, isWanted, visit) calls visit(first, cost) likewise, with the same costs.
  /// @param orderOf See above; says the same of a pair whenever it is asked.
  /// @param rangeOf Gives a pair's range of places, so that pairs which can't be the best are not wanted. A pair whose
  ///   range lies before another's comes before it in the order, too.
  template <class VisitSeconds, class VisitFirsts, class OrderOf, class RangeOf>
  void match(std::size_t firsts, std::size_t seconds, VisitSeconds visitSeconds, VisitFirsts visitFirsts,
             OrderOf orderOf, RangeOf rangeOf) {
    reset(firsts, seconds);
    const std::size_t limit = mostListedPairs(firsts + seconds);
    const auto isAnyWanted = [](std::uint32_t) { return true; };
    for (std::uint32_t first = 0; first < firsts; ++first) {
      visitSeconds(first, isAnyWanted, [&](std::uint32_t second, float cost) { propose(first, second, cost); });
      if (pairs.size() > limit) return matchUnlisted(visitSeconds, visitFirsts, orderOf, rangeOf);
    }
    match(orderOf);
  }

  /// The same, where no quick look tells anything.
  template <class VisitSeconds, class VisitFirsts, class OrderOf>
  void match(std::size_t firsts, std::size_t seconds, VisitSeconds visitSeconds, VisitFirsts visitFirsts,
             OrderOf orderOf) {
    constexpr double kNowhere = std::numeric_limits<double>::quiet_NaN();
    match(firsts, seconds, visitSeconds, visitFirsts, orderOf, [](const Pair&) {
      return PlaceRange{kNowhere, kNowhere};
    });
  }

  /// The pairs proposed, in the order in which they were; where these were too many, those accepted, by first element.
  const std::vector<Pair>& getPairs() const { return pairs; }

  std::uint32_t partnerOf(std::uint32_t first) const { return ofFirst[first].partner; }
  std::uint32_t firstOf(std::uint32_t second) const { return ofSecond[second].partner; }
  bool isFirstFree(std::uint32_t first) const { return partnerOf(first) == kNone; }
  bool isFree(std::uint32_t second) const { return firstOf(second) == kNone; }
  bool isAccepted(const Pair& pair) const { return partnerOf(pair.first) == pair.second; }

 private:
  struct Rival {
    std::uint64_t order;
    Pair pair;

    bool operator<(const Rival& other) const {
      if (order != other.order) return order < other.order;
      return std::tie(pair.first, pair.second) < std::tie(other.pair.first, other.pair.second);
    }
  };

  struct Element {
    std::uint32_t proposals = 0;
    std::uint32_t partner = kNone;
  };

  void accept(const Pair& pair) {
    ofFirst[pair.first].partner = pair.second;
    ofSecond[pair.second].partner = pair.first;
  }

  /// Accepts the same pairs as `match` does, in another order: a pair that is the best one of both its elements among
  /// those still free stays so until its turn comes. From an element to its best partner, from there to that one's best
  /// and so on, each pair is better than the one before, so the way ends in such a pair. What led there stays as it is
  /// when the pair is taken out, and the way goes on from its new end: each pair accepted costs up to three searches.
  template <class VisitSeconds, class VisitFirsts, class OrderOf, class RangeOf>
  void matchUnlisted(VisitSeconds& visitSeconds, VisitFirsts& visitFirsts, OrderOf& orderOf, RangeOf& rangeOf) {
    const auto count = static_cast<std::uint32_t>(ofFirst.size());
    reset(count, ofSecond.size());
    way.clear();  // of positions, of a first element and of a second in turn
    for (std::uint32_t start = 0; start < count;) {
      if (way.empty() && !isFirstFree(start)) {
        ++start;
        continue;
      }
      if (way.empty()) way.push_back(start);
      const bool isFirst = way.size() % 2 != 0;
      const Rival best = isFirst ? bestOfFirst(way.back(), visitSeconds, orderOf, rangeOf)
                                 : bestOfSecond(way.back(), visitFirsts, orderOf, rangeOf);
      const std::uint32_t partner = isFirst ? best.pair.second : best.pair.first;
      if (partner == kNone) {  // only at a start, since all others have been led to
        way.clear();
        ++start;
      } else if (way.size() > 1 && way[way.size() - 2] == partner) {
        accept(best.pair);
        pairs.push_back(best.pair);
        way.resize(way.size() - 2);
      } else {
        way.push_back(partner);
      }
    }
    std::sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) { return a.first < b.first; });
  }

  /// The best pair of a search so far.
  template <class OrderOf, class RangeOf>
  struct Best {
    OrderOf& orderOf;
    RangeOf& rangeOf;
    Rival rival = kNobody;
    double most = std::numeric_limits<double>::infinity();

    bool mayBeBeatenBy(const Pair& pair) const { return !(most < rangeOf(pair).least); }

    void meet(const Pair& pair) {
      const Rival other = {orderOf(pair), pair};
      if (!(other < rival)) return;
      rival = other;
      most = rangeOf(pair).most;
    }
  };

  template <class VisitSeconds, class OrderOf, class RangeOf>
  Rival bestOfFirst(std::uint32_t first, VisitSeconds& visitSeconds, OrderOf& orderOf, RangeOf& rangeOf) const {
    Best<OrderOf, RangeOf> best{orderOf, rangeOf};
    visitSeconds(
        first,
        [&](std::uint32_t second) {
          return isFree(second) && best.mayBeBeatenBy({first, second, 0.0F});
        },
        [&](std::uint32_t second, float cost) {
          best.meet({first, second, cost});
        });
    return best.rival;
  }

  template <class VisitFirsts, class OrderOf, class RangeOf>
  Rival bestOfSecond(std::uint32_t second, VisitFirsts& visitFirsts, OrderOf& orderOf, RangeOf& rangeOf) const {
    Best<OrderOf, RangeOf> best{orderOf, rangeOf};
    visitFirsts(
        second,
        [&](std::uint32_t first) {
          return isFirstFree(first) && best.mayBeBeatenBy({first, second, 0.0F});
        },
        [&](std::uint32_t first, float cost) {
          best.meet({first, second, cost});
        });
    return best.rival;
  }

  static constexpr Rival kNobody = {UINT64_MAX, {kNone, kNone, 0.0F}};

  std::vector<Pair> pairs;
  std::vector<Rival> rivals;
  std::vector<Element> ofFirst;
  std::vector<Element> ofSecond;
  std::vector<std::uint32_t> way;
};

/// Place in the order of matching, as one number: lower ranks first, within a rank lower costs, costs that are not a
/// number last.
std::uint64_t matchingOrder(unsigned rank, float cost);

}  // namespace nivra
