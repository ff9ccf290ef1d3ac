#include "hostkit/explaining/telling.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <utility>

#include "hostkit/explaining/misses.h"
#include "hostkit/explaining/words.h"

namespace nivra::hostkit {

namespace {

using Change = TrackExplanation::Change;
using Outcome = Decision::Outcome;
using Kind = Told::Kind;

/// The larger of the two offsets of two boxes' centres, in their mean sizes.
double offsetBetween(const Box& a, const Box& b) {
  const Point one = center(a);
  const Point other = center(b);
  const float x = std::abs(one.x - other.x) / (width(a) + width(b));
  const float y = std::abs(one.y - other.y) / (height(a) + height(b));
  return 2.0 * static_cast<double>(std::max(x, y));
}

/// The pairs whose margin is smallest are the likeliest mistakes.
struct Narrow {
  double margin;
  std::size_t frame;
  const PairExplanation* pair;  // or else
  const TrackExplanation* change;
};

}  // namespace

/// Whom of a truth tracks follow.
class Teller::Followings {
 public:
  /// The frames, from 1, in which a track follows one person and nobody else.
  struct Stretch {
    std::int64_t person;
    int first;
    int last;
  };

  Followings(const IdentifiedSequence& truth, const IdentifiedSequence& tracks, const SequenceMatching& matching) {
    for (std::size_t row = 0; row < tracks.rows.size(); ++row) {
      const int found = matching.truthOfTrack[row];
      if (found < 0) continue;
      const auto& [frame, identified] = std::tie(tracks.rows[row].frame, tracks.rows[row].identified);
      const std::int64_t person = truth.rows[static_cast<std::size_t>(found)].identified.identity;
      auto& stretches = stretchesOf[identified.identity];
      if (stretches.empty() || stretches.back().person != person) stretches.push_back({person, frame, frame});
      stretches.back().last = frame;
    }
  }

  /// The last one that began until a frame; null if there is none.
  const Stretch* lastUntil(std::int64_t track, int frame) const {
    const auto stretches = stretchesOf.find(track);
    if (stretches == stretchesOf.end()) return nullptr;
    const auto isOf = [frame](const Stretch& each) { return each.first <= frame; };
    const auto found = std::find_if(stretches->second.rbegin(), stretches->second.rend(), isOf);
    return found == stretches->second.rend() ? nullptr : &*found;
  }

  bool isFirst(std::int64_t track, std::int64_t person) const { return stretchesOf.at(track).front().person == person; }

 private:
  std::map<std::int64_t, std::vector<Stretch>> stretchesOf;
};

/// Somebody of the truth whom a track follows in the place of another one.
struct Teller::Takeover {
  std::int64_t person;
  std::int32_t from;
  std::int32_t to;
  int lastFrame;  // from 1, in which the one did so, and
  int nowFrame;   // the other does
};

// What may be asked.

std::vector<Told> Teller::births() const {
  std::vector<Told> told;
  forEachChange([&](const TrackExplanation& each, std::size_t frame) {
    if (each.change != Change::began) return;
    if (auto birth = birthOf(each, frame)) told.push_back(std::move(*birth));
  });
  return told;
}

std::vector<Told> Teller::life(std::int32_t id) const {
  std::vector<Told> told;
  const auto found = chronicle.lives().find(id);
  if (found == chronicle.lives().end()) return told;
  const ChronicleLife& life = found->second;
  const std::size_t length = chronicle.frames().size();
  const std::size_t end = life.end.value_or(length);
  bool wasSeen = true;
  for (std::size_t frame = life.first; frame < std::min(end + 1, length); ++frame) {
    for (const TrackExplanation& each : chronicle.frames()[frame].reasons.tracks) {
      if (each.track != id || each.change == Change::none) continue;
      told.push_back(each.change == Change::began ? startOf(each, frame) : changeOf(each, frame));
    }
    const bool isSeen = chronicle.frames()[frame].detectionOf(id).has_value();
    const bool isMerged = frame == end && chronicle.changeAt(frame, id, Change::merged) != nullptr;
    if (wasSeen && !isSeen && !isMerged) told.push_back(gapOf(id, frame, end));
    wasSeen = isSeen;
  }
  if (!life.end || life.wasCutOff) told.push_back(lastOf(id, life));
  return told;
}

std::vector<Told> Teller::frame(std::size_t position) const {
  std::vector<Told> told;
  const FrameReasons& reasons = chronicle.frames()[position].reasons;
  for (const PairExplanation& each : reasons.pairs) told.push_back(pairOf(each, position));
  for (const RevivalExplanation& each : reasons.revivals) told.push_back(revivalOf(each, position));
  for (const TrackExplanation& each : reasons.tracks) {
    if (each.change == Change::none) continue;
    told.push_back(each.change == Change::began ? startOf(each, position) : changeOf(each, position));
  }
  return told;
}

std::vector<Told> Teller::narrowest(std::size_t count) const {
  std::vector<Narrow> all;
  for (std::size_t frame = 0; frame < chronicle.frames().size(); ++frame) {
    const FrameReasons& reasons = chronicle.frames()[frame].reasons;
    for (const PairExplanation& each : reasons.pairs) {
      const auto refusals = refusalsOf(each);
      if (refusals.size() == 1) all.push_back({marginOf(refusals[0]), frame, &each, nullptr});
    }
    for (const TrackExplanation& each : reasons.tracks) {
      const auto verdict = verdictBehind(each, frame);
      if (each.change != Change::none && verdict) all.push_back({marginOf(*verdict), frame, nullptr, &each});
    }
  }
  std::stable_sort(all.begin(), all.end(), [](const Narrow& a, const Narrow& b) { return a.margin < b.margin; });
  all.resize(std::min(count, all.size()));
  std::vector<Told> told;
  for (const auto& [margin, frame, pair, change] : all) {
    told.push_back(change != nullptr ? changeOf(*change, frame) : pairOf(*pair, frame));
  }
  return told;
}

std::vector<Told> Teller::switches(const IdentifiedSequence& truth, const IdentifiedSequence& tracks,
                                   const SequenceMatching& matching) const {
  std::vector<Told> told;
  const auto trackOf = [&](std::size_t row) -> const IdentifiedRow* {
    const int track = matching.trackOfTruth[row];
    return track < 0 ? nullptr : &tracks.rows[static_cast<std::size_t>(track)];
  };
  const Followings followings(truth, tracks, matching);
  for (const std::size_t row : matching.switches) {
    const std::int64_t person = truth.rows[row].identified.identity;
    std::size_t before = row;
    while (before-- > 0) {
      if (truth.rows[before].identified.identity == person && trackOf(before) != nullptr) break;
    }
    const auto& [from, to] = std::tie(*trackOf(before), *trackOf(row));
    told.push_back(switchOf({person, static_cast<std::int32_t>(from.identified.identity),
                             static_cast<std::int32_t>(to.identified.identity), from.frame, to.frame},
                            followings));
  }
  return told;
}

// Pieces.

Told Teller::begin(Kind kind, std::size_t frame, std::int32_t track) const {
  Told told;
  told.kind = kind;
  told.frame = chronicle.frames()[frame].number;
  told.seconds = chronicle.secondsAt(frame);
  told.track = track;
  return told;
}

/// "id 4", or "id 4, 0.3 s without detection," for a track that took none in the frame before.
std::string Teller::whoBefore(std::int32_t track, std::size_t frame) const {
  const auto seen = chronicle.lastSeenBefore(track, frame);
  if (!seen || *seen + 1 >= frame) return fmt::format("id {}", track);
  const auto unseen = chronicle.frames()[frame].timestamp - chronicle.frames()[*seen].timestamp;
  return fmt::format("id {}, {} without detection,", track, shownTime(static_cast<double>(unseen)));
}

const PairExplanation* Teller::pairAt(std::size_t frame, std::int32_t track, std::size_t detection) const {
  for (const PairExplanation& each : chronicle.frames()[frame].reasons.pairs) {
    if (each.pair.track == track && each.pair.detection == detection) return &each;
  }
  return nullptr;
}

/// The pair that nearly was, of those with a side in common.
template <class IsOf>
const PairExplanation* Teller::nearestMiss(std::size_t frame, IsOf isOf) const {
  const ChronicleFrame& kept = chronicle.frames()[frame];
  const PairExplanation* nearest = nullptr;
  for (const PairExplanation& each : kept.reasons.pairs) {
    if (each.outcome == Outcome::matched || !isOf(each)) continue;
    if (nearest == nullptr || remotenessOf(each, kept) < remotenessOf(*nearest, kept)) nearest = &each;
  }
  return nearest;
}

/// The track that ended at a place not long before a frame.
std::optional<std::int32_t> Teller::endedNear(const Box& place, std::size_t frame) const {
  constexpr std::uint64_t kLong = 2'000'000'000;
  const auto& frames = chronicle.frames();
  std::optional<std::int32_t> nearest;
  double least = 1.0;
  for (std::size_t i = frame; i-- > 0 && frames[frame].timestamp - frames[i].timestamp <= kLong;) {
    for (const TrackExplanation& each : frames[i].reasons.tracks) {
      const auto life = chronicle.lives().find(each.track);
      if (each.change != Change::ended || life == chronicle.lives().end()) continue;
      const double offset = offsetBetween(life->second.lastBox, place);
      if (offset >= least) continue;
      least = offset;
      nearest = each.track;
    }
  }
  return nearest;
}

/// Tells why a track didn't take a detection: "id 4, 0.3 s without detection, refused it: ..."
void Teller::tellMiss(const PairExplanation& pair, std::size_t frame, Told& told) const {
  told.other = pair.pair.track;
  told.detection = pair.pair.detection;
  told.verdicts = refusalsOf(pair);
  told.margin = marginOf(told.verdicts.back());
  const std::string who = whoBefore(pair.pair.track, frame);
  if (pair.outcome == Outcome::refused) {
    told.sentence += fmt::format("{} refused it: {}", who, refusalsInWords(told.verdicts));
  } else if (pair.rival.track == pair.pair.track) {
    told.sentence += fmt::format("{} took detection {} instead of {}: {}", who, pair.rival.detection,
                                 pair.pair.detection, inWords(told.verdicts.back()));
  } else {
    told.sentence += fmt::format("{} lost it to id {}: {}", who, pair.rival.track, inWords(told.verdicts.back()));
  }
  if (told.verdicts.size() == 1) told.turn = Turn{told.verdicts[0], pair.pair.track, frame, pair.pair.detection};
}

/// Tells why a track had ended before a frame, and so didn't take a detection of it.
bool Teller::tellEnd(std::int32_t track, std::size_t frame, std::size_t detection, Told& told) const {
  const ChronicleLife& life = chronicle.lives().at(track);
  const TrackExplanation* const end = life.end ? chronicle.changeAt(*life.end, track, Change::ended) : nullptr;
  if (end == nullptr) return false;
  const auto since = chronicle.frames()[frame].timestamp - chronicle.frames()[*life.end].timestamp;
  told.other = track;
  told.sentence += fmt::format("id {} had ended {} before", track, shownTime(static_cast<double>(since)));
  const auto verdict = decisiveVerdict(*end);
  if (!verdict) return true;
  told.verdicts = {*verdict};
  told.margin = marginOf(*verdict);
  told.sentence += ": " + inWords(*verdict);
  told.turn = Turn{*verdict, track, frame, detection};
  return true;
}

/// What stood against it that a track, or one that had just ended, took the detection with which another one began.
/// @return Nothing if there was nobody near.
std::optional<Told> Teller::birthOf(const TrackExplanation& start, std::size_t frame) const {
  Told told = begin(Kind::birth, frame, start.track);
  told.change = Change::began;
  told.sentence = fmt::format("id {} began here because ", start.track);
  const PairExplanation* const miss =
      nearestMiss(frame, [&](const PairExplanation& each) { return each.pair.detection == *start.detection; });
  const auto life = chronicle.lives().find(start.track);
  const auto ended = life == chronicle.lives().end() ? std::nullopt : endedNear(life->second.firstBox, frame);
  constexpr double kLikely = 1.5;
  const bool isLikely = miss != nullptr && refusalsOf(*miss).size() == 1 && excessOf(*miss) <= kLikely &&
                        !chronicle.frames()[frame].detectionOf(miss->pair.track);
  if (ended && !isLikely) {
    tellEnd(*ended, frame, *start.detection, told);
  } else if (miss != nullptr) {
    tellMiss(*miss, frame, told);
  } else {
    return std::nullopt;
  }
  told.detection = *start.detection;
  return told;
}

/// What decided about a change: of one track that was made of two, the comparison of the two.
std::optional<Verdict> Teller::verdictBehind(const TrackExplanation& explanation, std::size_t frame) const {
  if (!explanation.other) return decisiveVerdict(explanation);
  for (const RevivalExplanation& each : chronicle.frames()[frame].reasons.revivals) {
    const bool isOf = each.pair.lost == explanation.track || each.pair.young == explanation.track;
    if (!isOf || each.outcome != Outcome::matched) continue;
    for (const Verdict& verdict : each.verdicts) {
      if (verdict.rule == Rule::galleryDistance) return verdict;
    }
  }
  return std::nullopt;
}

Told Teller::changeOf(const TrackExplanation& explanation, std::size_t frame) const {
  Told told = begin(Kind::change, frame, explanation.track);
  told.change = explanation.change;
  told.other = explanation.other;
  told.detection = explanation.detection;
  const auto verdict = verdictBehind(explanation, frame);
  TrackExplanation decided = explanation;
  decided.verdicts.clear();
  if (verdict) decided.verdicts.push_back(*verdict);
  told.sentence = inWords(decided);
  if (!verdict) return told;
  told.verdicts = {*verdict};
  told.margin = marginOf(*verdict);
  if (explanation.change == Change::ended || explanation.change == Change::lost) {
    told.turn = Turn{*verdict, explanation.track, frame, std::nullopt};
  }
  return told;
}

template <class Take>
void Teller::forEachChange(Take take) const {
  for (std::size_t frame = 0; frame < chronicle.frames().size(); ++frame) {
    for (const TrackExplanation& each : chronicle.frames()[frame].reasons.tracks) {
      if (each.change != Change::none) take(each, frame);
    }
  }
}

Told Teller::startOf(const TrackExplanation& start, std::size_t frame) const {
  if (auto told = birthOf(start, frame)) return std::move(*told);
  Told told = begin(Kind::birth, frame, start.track);
  told.change = Change::began;
  told.detection = start.detection;
  told.sentence = fmt::format("id {} began here; no track was near", start.track);
  return told;
}

Told Teller::gapOf(std::int32_t id, std::size_t first, std::size_t end) const {
  std::size_t next = first;
  while (next < std::min(end, chronicle.frames().size()) && !chronicle.frames()[next].detectionOf(id)) ++next;
  Told told = begin(Kind::decision, first, id);
  const std::size_t length = std::max<std::size_t>(next - first, 1);
  told.sentence = fmt::format("id {} takes no detection in {} frame{}", id, length, length == 1 ? "" : "s");
  const PairExplanation* const miss =
      nearestMiss(first, [&](const PairExplanation& each) { return each.pair.track == id; });
  if (miss == nullptr) {
    told.sentence += ", as none was near";
    return told;
  }
  told.sentence +=
      fmt::format("{} detection {}: ", length == 1 ? "; of" : "; in the first of them, of", miss->pair.detection);
  tellMiss(*miss, first, told);
  return told;
}

Told Teller::lastOf(std::int32_t id, const ChronicleLife& life) const {
  Told told = begin(Kind::change, life.end.value_or(chronicle.frames().size() - 1), id);
  told.sentence =
      fmt::format(life.wasCutOff ? "id {} was there when its camera ended" : "id {} is there to the end", id);
  return told;
}

Told Teller::pairOf(const PairExplanation& pair, std::size_t frame) const {
  Told told = begin(Kind::decision, frame, pair.pair.track);
  told.sentence = fmt::format("detection {}: ", pair.pair.detection);
  if (pair.outcome != Outcome::matched) {
    tellMiss(pair, frame, told);
    return told;
  }
  told.detection = pair.pair.detection;
  told.verdicts = pair.verdicts;
  told.sentence +=
      fmt::format("id {} took it, at a cost of {}", pair.pair.track, shown(static_cast<double>(pair.cost.value())));
  return told;
}

Told Teller::revivalOf(const RevivalExplanation& revival, std::size_t frame) const {
  const auto& [lost, young] = revival.pair;
  Told told = begin(Kind::decision, frame, lost);
  told.other = young;
  told.verdicts = revival.verdicts;
  told.sentence = fmt::format("lost id {} and id {}: {}", lost, young, nameOf(revival.outcome));
  const std::string why = refusalsInWords(revival.verdicts);
  if (!why.empty()) told.sentence += ", " + why;
  return told;
}

Told Teller::switchOf(const Takeover& takeover, const Followings& followings) const {
  const auto& [person, from, to, lastFrame, nowFrame] = takeover;
  Told told = begin(Kind::idSwitch, chronicle.find(nowFrame).value(), to);
  told.truth = person;
  told.sentence = fmt::format("person {} goes from id {} to id {}", person, from, to);
  if (nowFrame - lastFrame > 1) told.sentence += fmt::format(", unseen since frame {}", lastFrame);
  told.sentence += ": ";
  tellTakeover(takeover, followings.isFirst(to, person), told);
  told.other = from;
  const Followings::Stretch* const left = followings.lastUntil(from, nowFrame);
  if (left != nullptr && left->person != person) {
    told.sentence += fmt::format("; id {} {} person {} from frame {} on", from,
                                 left->last >= nowFrame ? "follows" : "followed", left->person, left->first);
  }
  const Followings::Stretch* const before = followings.lastUntil(to, nowFrame - 1);
  if (before != nullptr && before->person != person) {
    told.sentence += fmt::format("; id {} followed person {} until frame {}", to, before->person, before->last);
  }
  return told;
}

/// Tells why a track follows somebody in the place of another one: when it began, if it began with that person, or else
/// when it does so first.
void Teller::tellTakeover(const Takeover& takeover, bool beganWithPerson, Told& told) const {
  const auto& [person, from, to, lastFrame, nowFrame] = takeover;
  const auto& frames = chronicle.frames();
  const std::size_t last = chronicle.find(lastFrame).value();
  const std::size_t now = chronicle.find(nowFrame).value();
  const ChronicleLife& life = chronicle.lives().at(to);
  const bool isNew = beganWithPerson && life.first > last;
  const std::size_t at = isNew ? life.first : now;
  if (isNew)
    told.sentence +=
        fmt::format("id {} began {} because ", to, at == now ? "here" : fmt::format("in frame {}", frames[at].number));
  const ChronicleLife& old = chronicle.lives().at(from);
  const bool hasEnded = old.end && *old.end <= at;
  if (hasEnded && tellMerge(from, *old.end, told)) return;
  const auto taken = frames[at].detectionOf(to);
  if (!taken) {
    const auto seen = chronicle.lastSeenBefore(to, at);
    told.sentence += fmt::format("id {} has no detection, but was seen in frame {} and is expected here", to,
                                 frames[seen.value_or(life.first)].number);
    return;
  }
  told.detection = *taken;
  if (const PairExplanation* const pair = pairAt(at, from, *taken)) {
    if (pair->outcome != Outcome::matched) return tellMiss(*pair, at, told);
  }
  if (hasEnded && tellEnd(from, at, *taken, told)) return;
  for (std::size_t frame = at + 1; frame-- > last;) {
    const TrackExplanation* const loss = chronicle.changeAt(frame, from, Change::lost);
    if (loss == nullptr) continue;
    told.sentence += fmt::format("id {} was lost in frame {}", from, frames[frame].number);
    if (const auto verdict = decisiveVerdict(*loss)) {
      told.verdicts = {*verdict};
      told.sentence += ": " + inWords(*verdict);
    }
    return;
  }
  if (const auto other = frames[at].detectionOf(from)) {
    told.sentence +=
        fmt::format("id {} has gone to detection {}, and id {} is on detection {}", from, *other, to, *taken);
  } else {
    told.sentence +=
        fmt::format("{} is too far away to matter{}", whoBefore(from, at), hasEnded ? " and has ended" : "");
  }
}

/// Tells into whom a track was merged in a frame, if it was.
bool Teller::tellMerge(std::int32_t track, std::size_t frame, Told& told) const {
  const TrackExplanation* const merge = chronicle.changeAt(frame, track, Change::merged);
  if (merge == nullptr) return false;
  const Told change = changeOf(*merge, frame);
  told.verdicts = change.verdicts;
  told.margin = change.margin;
  told.sentence += change.sentence;
  return true;
}

}  // namespace nivra::hostkit
