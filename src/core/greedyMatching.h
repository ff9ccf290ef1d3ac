#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

namespace nivra {

/// Pairs the elements of two sequences one to one, best pairs first: of all pairs proposed, in their order, each is
/// accepted whose two elements are both still free. Keeps its memory from frame to frame.
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

  /// Accepts what is possible.
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
      if (partnerOf(rival.pair.first) == kNone && isFree(rival.pair.second)) accept(rival.pair);
    }
  }

  /// The pairs proposed, in the order in which they were.
  const std::vector<Pair>& getPairs() const { return pairs; }

  std::uint32_t partnerOf(std::uint32_t first) const { return ofFirst[first].partner; }
  bool isFree(std::uint32_t second) const { return ofSecond[second].partner == kNone; }
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

  std::vector<Pair> pairs;
  std::vector<Rival> rivals;
  std::vector<Element> ofFirst;
  std::vector<Element> ofSecond;
};

/// Place in the order of matching, as one number: lower ranks first, within a rank lower costs, costs that are not a
/// number last.
std::uint64_t matchingOrder(unsigned rank, float cost);

}  // namespace nivra
