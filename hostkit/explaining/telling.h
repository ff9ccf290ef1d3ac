#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hostkit/evaluation/sequenceMatching.h"
#include "hostkit/explaining/chronicle.h"

namespace nivra::hostkit {

/// What would have been otherwise if a verdict had been the opposite.
struct Turn {
  Verdict verdict;
  std::int32_t track = -1;
  std::size_t frame = 0;                 // position
  std::optional<std::size_t> detection;  // that the track would have taken; or else it would have lived on
};

/// A decision and why it was made.
struct Told {
  enum class Kind {
    birth,     // an identity began
    change,    // another change of a track
    decision,  // about a pair
    idSwitch,  // somebody of the truth is found by another identity than before
  };

  Kind kind = Kind::change;
  int frame = 0;         // from 1
  double seconds = 0.0;  // since the first frame
  std::int32_t track = -1;
  TrackExplanation::Change change = TrackExplanation::Change::none;
  std::optional<std::int32_t> other;     // the track that refused, was better, merged, or was before the switch
  std::optional<std::int64_t> truth;     // whose identity was switched
  std::optional<std::size_t> detection;  // its position in the input's frame
  std::vector<Verdict> verdicts;         // those that decided
  std::optional<double> margin;          // how far the figure is from its limit, as a share of the larger
  std::string sentence;
  std::optional<Turn> turn;  // where one rule alone decided
};

/// Puts decisions that a chronicle holds into sentences.
class Teller {
 public:
  /// @param toldOf Outlives this object.
  explicit Teller(const Chronicle& toldOf) : chronicle(toldOf) {}

  /// Of each identity that began near a track which existed, or where one had just ended, what stood against that one.
  std::vector<Told> births() const;

  /// The life of an identity, from its first detection to its end.
  std::vector<Told> life(std::int32_t id) const;

  /// All that is kept of a frame's reasons.
  std::vector<Told> frame(std::size_t position) const;

  /// So many decisions, those with the smallest margin first.
  std::vector<Told> narrowest(std::size_t count) const;

  /// Each switch of a matching, in its order.
  /// @param tracks What was told of the chronicle's tracks.
  std::vector<Told> switches(const IdentifiedSequence& truth, const IdentifiedSequence& tracks,
                             const SequenceMatching& matching) const;

 private:
  class Followings;
  struct Takeover;

  Told begin(Told::Kind kind, std::size_t frame, std::int32_t track) const;
  std::string whoBefore(std::int32_t track, std::size_t frame) const;
  const PairExplanation* pairAt(std::size_t frame, std::int32_t track, std::size_t detection) const;
  template <class IsOf>
  const PairExplanation* nearestMiss(std::size_t frame, IsOf isOf) const;
  template <class Take>
  void forEachChange(Take take) const;
  std::optional<std::int32_t> endedNear(const Box& place, std::size_t frame) const;

  void tellMiss(const PairExplanation& pair, std::size_t frame, Told& told) const;
  bool tellEnd(std::int32_t track, std::size_t frame, std::size_t detection, Told& told) const;
  std::optional<Told> birthOf(const TrackExplanation& start, std::size_t frame) const;
  Told startOf(const TrackExplanation& start, std::size_t frame) const;
  Told changeOf(const TrackExplanation& explanation, std::size_t frame) const;
  Told gapOf(std::int32_t id, std::size_t first, std::size_t end) const;
  Told pairOf(const PairExplanation& pair, std::size_t frame) const;
  Told revivalOf(const RevivalExplanation& revival, std::size_t frame) const;
  Told lastOf(std::int32_t id, const ChronicleLife& life) const;
  std::optional<Verdict> verdictBehind(const TrackExplanation& explanation, std::size_t frame) const;
  Told switchOf(const Takeover& takeover, const Followings& followings) const;
  void tellTakeover(const Takeover& takeover, bool beganWithPerson, Told& told) const;
  bool tellMerge(std::int32_t track, std::size_t frame, Told& told) const;

  const Chronicle& chronicle;
};

}  // namespace nivra::hostkit
