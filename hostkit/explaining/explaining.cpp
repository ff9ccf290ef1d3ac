#include "hostkit/explaining/explaining.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <tuple>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/evaluation/inputs.h"
#include "hostkit/evaluation/sequenceMatching.h"
#include "hostkit/explaining/chronicle.h"
#include "hostkit/explaining/words.h"

namespace nivra::hostkit {

namespace {

using Change = TrackExplanation::Change;
using Outcome = Decision::Outcome;
using Kind = Told::Kind;

std::vector<Verdict> refusalsOf(const Decision& decision) {
  std::vector<Verdict> refusals;
  for (const Verdict& each : decision.verdicts) {
    if (!each.holds) refusals.push_back(each);
  }
  return refusals;
}

/// How many times the limit the worst figure of a pair is; 1 for pairs that passed the gates.
double excessOf(const PairExplanation& pair) {
  double most = 1.0;
  for (const Verdict& each : pair.verdicts) {
    if (each.holds || pair.outcome != Outcome::refused) continue;
    most = std::max(most, each.limit > 0.0 ? each.figure / each.limit : 1.0 + each.figure - each.limit);
  }
  return most;
}

/// The larger of the two offsets of two boxes' centres, in their mean sizes.
double offsetBetween(const Box& a, const Box& b) {
  const Point one = center(a);
  const Point other = center(b);
  const float x = std::abs(one.x - other.x) / (width(a) + width(b));
  const float y = std::abs(one.y - other.y) / (height(a) + height(b));
  return 2.0 * static_cast<double>(std::max(x, y));
}

class Explaining {
 public:
  Explaining(const ExplainOptions& explainOptions, const TrackerRecipe& trackerRecipe, std::ostream& messages)
      : options(explainOptions), recipe(trackerRecipe), err(messages) {
    readTruth();
    chronicle = follow(recipe, true);
    result.badRecords = chronicle.badRecords;
    result.totals = totalsOf(chronicle);
  }

  Explanations explain() {
    if (options.id) tellLife(*options.id);
    if (options.frame) tellFrame(*options.frame);
    if (options.worst) tellWorst(*options.worst);
    if (truth) tellSwitches();
    if (!options.id && !options.frame && !options.worst && !truth) tellBirths();
    return std::move(result);
  }

 private:
  // ---- Runs ----

  void readTruth() {
    if (options.truth.empty()) return;
    std::vector<TruthSource> sources = findTruths(options.truth, nullptr, options.track.read);
    const auto isWanted = [&](const TruthSource& each) { return each.name == options.camera; };
    auto found = sources.size() == 1 ? sources.begin() : std::find_if(sources.begin(), sources.end(), isWanted);
    if (found == sources.end()) throw UsageError(fmt::format("--truth {}: --camera has to name one", options.truth));
    found->read(nullptr, options.track.read);
    truth = std::move(found->sequence);
    preprocessing = options.preprocessing.value_or(usualPreprocessing(*truth));
  }

  Chronicle follow(const TrackerRecipe& chosen, bool withReasons) const {
    return chronicleOf({options.track, options.camera, withReasons, truth.has_value(), options.frame}, chosen,
                       withReasons ? &err : nullptr);
  }

  Totals totalsOf(const Chronicle& of) const {
    Totals totals;
    totals.identities = of.lives.size();
    if (truth) totals.figures = matchSequences(*truth, of.tracks, preprocessing).figures;
    return totals;
  }

  /// @param isTurned Whether in another chronicle the decision is the opposite one.
  std::optional<Check> check(const Verdict& verdict, const std::function<bool(const Chronicle&)>& isTurned) {
    const std::string value = handyValue(verdict);
    if (value.empty()) return std::nullopt;
    const auto key = std::pair<std::string, std::string>(verdict.parameter, value);
    auto found = others.find(key);
    if (found == others.end()) {
      Chronicle other = follow(recipe.with(key.first, key.second), false);
      Totals totals = totalsOf(other);
      other.tracks = {};
      found = others.emplace(key, std::pair(std::move(other), std::move(totals))).first;
    }
    const auto& [other, totals] = found->second;
    return Check{key.first, key.second, isTurned(other), totals};
  }

  /// Who is in another chronicle what a track of this one was when it was seen last before a frame.
  std::optional<std::int32_t> sameIn(const Chronicle& other, std::int32_t track, std::size_t frame) const {
    const auto seen = chronicle.lastSeenBefore(track, frame);
    if (!seen) return std::nullopt;
    const auto& takers = other.frames[*seen].takerOf;
    const auto taker = takers.find(chronicle.frames[*seen].detectionOf.at(track));
    return taker == takers.end() ? std::nullopt : std::optional(taker->second);
  }

  bool takesIn(const Chronicle& other, std::int32_t track, std::size_t frame, std::size_t detection) const {
    const auto same = sameIn(other, track, frame);
    const auto& takers = other.frames[frame].takerOf;
    const auto taker = takers.find(detection);
    return same && taker != takers.end() && taker->second == *same;
  }

  bool livesOnIn(const Chronicle& other, std::int32_t track, std::size_t frame) const {
    const auto same = sameIn(other, track, frame + 1);
    if (!same) return false;
    const auto& end = other.lives.at(*same).end;
    return !end || *end > frame;
  }

  // ---- Pieces ----

  Told begin(Kind kind, std::size_t frame, std::int32_t track) const {
    Told told;
    told.kind = kind;
    told.frame = chronicle.frames[frame].number;
    told.seconds = chronicle.secondsAt(frame);
    told.track = track;
    return told;
  }

  /// "id 4", or "id 4, 0.3 s without detection," for a track that took none in the frame before.
  std::string whoBefore(std::int32_t track, std::size_t frame) const {
    const auto seen = chronicle.lastSeenBefore(track, frame);
    if (!seen || *seen + 1 >= frame) return fmt::format("id {}", track);
    const auto unseen = chronicle.frames[frame].timestamp - chronicle.frames[*seen].timestamp;
    return fmt::format("id {}, {} without detection,", track, shownTime(static_cast<double>(unseen)));
  }

  const PairExplanation* pairAt(std::size_t frame, std::int32_t track, std::size_t detection) const {
    for (const PairExplanation& each : chronicle.frames[frame].reasons.pairs) {
      if (each.pair.track == track && each.pair.detection == detection) return &each;
    }
    return nullptr;
  }

  const TrackExplanation* changeAt(std::size_t frame, std::int32_t track, Change change) const {
    for (const TrackExplanation& each : chronicle.frames[frame].reasons.tracks) {
      if (each.track == track && each.change == change) return &each;
    }
    return nullptr;
  }

  /// The pair that nearly was, of those with a side in common: rather of a track that went without, then by how many
  /// rules refused it, then by how far.
  template <class IsOf>
  const PairExplanation* nearestMiss(std::size_t frame, IsOf isOf) const {
    const auto& taken = chronicle.frames[frame].detectionOf;
    const auto distanceOf = [&](const PairExplanation& pair) {
      return std::tuple(taken.count(pair.pair.track), refusalsOf(pair).size(), excessOf(pair));
    };
    const PairExplanation* nearest = nullptr;
    for (const PairExplanation& each : chronicle.frames[frame].reasons.pairs) {
      if (each.outcome == Outcome::matched || !isOf(each)) continue;
      if (nearest == nullptr || distanceOf(each) < distanceOf(*nearest)) nearest = &each;
    }
    return nearest;
  }

  /// The track that ended at a place not long before a frame.
  std::optional<std::int32_t> endedNear(const Box& place, std::size_t frame) const {
    constexpr std::uint64_t kLong = 2'000'000'000;
    std::optional<std::int32_t> nearest;
    double least = 1.0;
    for (const auto& [id, life] : chronicle.lives) {
      if (!life.end || *life.end >= frame || changeAt(*life.end, id, Change::ended) == nullptr) continue;
      if (chronicle.frames[frame].timestamp - chronicle.frames[*life.end].timestamp > kLong) continue;
      const double offset = offsetBetween(life.lastBox, place);
      if (offset < least) {
        least = offset;
        nearest = id;
      }
    }
    return nearest;
  }

  /// Tells why a track didn't take a detection: "id 4, 0.3 s without detection, refused it: ..."
  void tellMiss(const PairExplanation& pair, std::size_t frame, Told& told) {
    told.other = pair.pair.track;
    told.detection = pair.pair.detection;
    told.verdicts = refusalsOf(pair);
    told.margin = marginOf(told.verdicts.back());
    const std::string who = whoBefore(pair.pair.track, frame);
    if (pair.outcome == Outcome::refused) {
      told.sentence += fmt::format("{} refused it: {}", who, refusalsInWords(told.verdicts));
    } else if (pair.rival.track == pair.pair.track) {
      told.sentence += fmt::format("{} took detection {} instead of {}, which has {}", who, pair.rival.detection,
                                   pair.pair.detection, inWords(told.verdicts.back()));
    } else {
      told.sentence += fmt::format("{} lost it to id {} by {}", who, pair.rival.track, inWords(told.verdicts.back()));
    }
    if (told.verdicts.size() != 1) return;
    told.check = check(told.verdicts.front(), [&, pair, frame](const Chronicle& other) {
      return takesIn(other, pair.pair.track, frame, pair.pair.detection);
    });
  }

  /// Tells why a track had ended before a frame, and so didn't take a detection of it.
  bool tellEnd(std::int32_t track, std::size_t frame, std::size_t detection, Told& told) {
    const ChronicleLife& life = chronicle.lives.at(track);
    const TrackExplanation* const end = life.end ? changeAt(*life.end, track, Change::ended) : nullptr;
    if (end == nullptr) return false;
    const auto since = chronicle.frames[frame].timestamp - chronicle.frames[*life.end].timestamp;
    told.other = track;
    told.sentence += fmt::format("id {} had ended {} before", track, shownTime(static_cast<double>(since)));
    const auto verdict = decisiveVerdict(*end);
    if (!verdict) return true;
    told.verdicts = {*verdict};
    told.margin = marginOf(*verdict);
    told.sentence += ": " + inWords(*verdict);
    told.check = check(*verdict, [&, track, frame, detection](const Chronicle& other) {
      return takesIn(other, track, frame, detection);
    });
    return true;
  }

  /// What stood against it that a track, or one that had just ended, took the detection with which another one began.
  /// @return Nothing if there was nobody near.
  std::optional<Told> birthOf(const TrackExplanation& start, std::size_t frame) {
    Told told = begin(Kind::birth, frame, start.track);
    told.change = Change::began;
    told.sentence = fmt::format("id {} began here because ", start.track);
    const PairExplanation* const miss =
        nearestMiss(frame, [&](const PairExplanation& each) { return each.pair.detection == *start.detection; });
    const auto life = chronicle.lives.find(start.track);
    const auto ended = life == chronicle.lives.end() ? std::nullopt : endedNear(life->second.firstBox, frame);
    constexpr double kLikely = 1.5;
    const auto& taken = chronicle.frames[frame].detectionOf;
    const bool isLikely = miss != nullptr && refusalsOf(*miss).size() == 1 && excessOf(*miss) <= kLikely &&
                          taken.count(miss->pair.track) == 0;
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

  Told changeOf(const TrackExplanation& explanation, std::size_t frame) {
    Told told = begin(Kind::change, frame, explanation.track);
    told.change = explanation.change;
    told.other = explanation.other;
    told.detection = explanation.detection;
    told.sentence = inWords(explanation);
    const auto verdict = decisiveVerdict(explanation);
    if (!verdict) return told;
    told.verdicts = {*verdict};
    told.margin = marginOf(*verdict);
    if (explanation.change == Change::ended || explanation.change == Change::lost) {
      told.check = check(*verdict, [&, track = explanation.track, frame](const Chronicle& other) {
        return livesOnIn(other, track, frame);
      });
    }
    return told;
  }

  // ---- What may be chosen ----

  void tellBirths() {
    forEachChange([&](const TrackExplanation& each, std::size_t frame) {
      if (each.change != Change::began) return;
      if (auto told = birthOf(each, frame)) result.told.push_back(std::move(*told));
    });
  }

  template <class Take>
  void forEachChange(Take take) const {
    for (std::size_t frame = 0; frame < chronicle.frames.size(); ++frame) {
      for (const TrackExplanation& each : chronicle.frames[frame].reasons.tracks) {
        if (each.change != Change::none) take(each, frame);
      }
    }
  }

  void tellLife(std::int32_t id) {
    const auto life = chronicle.lives.find(id);
    if (life == chronicle.lives.end()) throw UsageError(fmt::format("--id {}: there is no such identity", id));
    bool wasSeen = true;
    const std::size_t end = life->second.end.value_or(chronicle.frames.size());
    for (std::size_t frame = life->second.first; frame < std::min(end + 1, chronicle.frames.size()); ++frame) {
      for (const TrackExplanation& each : chronicle.frames[frame].reasons.tracks) {
        if (each.track != id || each.change == Change::none) continue;
        result.told.push_back(each.change == Change::began ? startOf(each, frame) : changeOf(each, frame));
      }
      const bool isSeen = chronicle.frames[frame].detectionOf.count(id) > 0;
      if (wasSeen && !isSeen) tellGap(id, frame, end);
      wasSeen = isSeen;
    }
    if (life->second.end) return;
    Told told = begin(Kind::change, chronicle.frames.size() - 1, id);
    told.sentence = fmt::format("id {} is there to the end", id);
    result.told.push_back(told);
  }

  Told startOf(const TrackExplanation& start, std::size_t frame) {
    if (auto told = birthOf(start, frame)) return std::move(*told);
    Told told = begin(Kind::birth, frame, start.track);
    told.change = Change::began;
    told.detection = start.detection;
    told.sentence = fmt::format("id {} began here; no track was near", start.track);
    return told;
  }

  void tellGap(std::int32_t id, std::size_t first, std::size_t end) {
    std::size_t next = first;
    while (next < std::min(end, chronicle.frames.size()) && chronicle.frames[next].detectionOf.count(id) == 0) ++next;
    Told told = begin(Kind::decision, first, id);
    told.sentence = fmt::format("id {} takes no detection in {} frames", id, std::max<std::size_t>(next - first, 1));
    const PairExplanation* const miss =
        nearestMiss(first, [&](const PairExplanation& each) { return each.pair.track == id; });
    if (miss != nullptr) {
      told.sentence += fmt::format("; in the first of them, of detection {}: ", miss->pair.detection);
      tellMiss(*miss, first, told);
    } else {
      told.sentence += ", as none was near";
    }
    result.told.push_back(std::move(told));
  }

  void tellFrame(int number) {
    const auto frame = chronicle.find(number);
    if (!frame) throw UsageError(fmt::format("--frame {}: there is no such frame", number));
    const FrameReasons& reasons = result.reasons.emplace(chronicle.frames[*frame].reasons);
    for (const PairExplanation& each : reasons.pairs) {
      Told told = begin(Kind::decision, *frame, each.pair.track);
      told.sentence = fmt::format("detection {}: ", each.pair.detection);
      if (each.outcome == Outcome::matched) {
        told.detection = each.pair.detection;
        told.verdicts = each.verdicts;
        told.sentence += fmt::format("id {} took it, at a cost of {}", each.pair.track,
                                     shown(static_cast<double>(each.cost.value())));
      } else {
        tellMiss(each, *frame, told);
      }
      result.told.push_back(std::move(told));
    }
    for (const RevivalExplanation& each : reasons.revivals) {
      Told told = begin(Kind::decision, *frame, each.pair.lost);
      told.other = each.pair.young;
      told.verdicts = each.verdicts;
      told.sentence = fmt::format("lost id {} and id {}: {}", each.pair.lost, each.pair.young, nameOf(each.outcome));
      const std::string why = refusalsInWords(each.verdicts);
      if (!why.empty()) told.sentence += ", " + why;
      result.told.push_back(std::move(told));
    }
    for (const TrackExplanation& each : reasons.tracks) {
      if (each.change == Change::none) continue;
      result.told.push_back(each.change == Change::began ? startOf(each, *frame) : changeOf(each, *frame));
    }
  }

  /// Decisions by their margins. Only those that are told are checked, which takes a run each.
  void tellWorst(std::size_t count) {
    struct Narrow {
      double margin;
      std::size_t frame;
      const PairExplanation* pair;  // or else
      const TrackExplanation* change;
    };
    std::vector<Narrow> all;
    for (std::size_t frame = 0; frame < chronicle.frames.size(); ++frame) {
      const FrameReasons& reasons = chronicle.frames[frame].reasons;
      for (const PairExplanation& each : reasons.pairs) {
        const auto refusals = refusalsOf(each);
        if (refusals.size() == 1) all.push_back({marginOf(refusals[0]), frame, &each, nullptr});
      }
      for (const TrackExplanation& each : reasons.tracks) {
        const auto verdict = decisiveVerdict(each);
        if (each.change != Change::none && verdict) all.push_back({marginOf(*verdict), frame, nullptr, &each});
      }
    }
    const auto isNarrower = [](const Narrow& a, const Narrow& b) { return a.margin < b.margin; };
    std::stable_sort(all.begin(), all.end(), isNarrower);
    for (std::size_t i = 0; i < std::min(count, all.size()); ++i) {
      const auto& [margin, frame, pair, change] = all[i];
      if (change != nullptr) {
        result.told.push_back(changeOf(*change, frame));
        continue;
      }
      Told told = begin(Kind::decision, frame, pair->pair.track);
      told.sentence = fmt::format("detection {}: ", pair->pair.detection);
      tellMiss(*pair, frame, told);
      result.told.push_back(std::move(told));
    }
  }

  void tellSwitches() {
    const SequenceMatching matching = matchSequences(*truth, chronicle.tracks, preprocessing);
    const auto trackOf = [&](std::size_t row) {
      const int track = matching.trackOfTruth[row];
      return track < 0 ? std::nullopt : std::optional(chronicle.tracks.rows[static_cast<std::size_t>(track)]);
    };
    for (const std::size_t row : matching.switches) {
      const std::int64_t person = truth->rows[row].identified.identity;
      std::size_t before = row;
      while (before-- > 0) {
        if (truth->rows[before].identified.identity == person && trackOf(before)) break;
      }
      tellSwitch(person, *trackOf(before), *trackOf(row));
    }
  }

  void tellSwitch(std::int64_t person, const IdentifiedRow& before, const IdentifiedRow& after) {
    const auto from = static_cast<std::int32_t>(before.identified.identity);
    const auto to = static_cast<std::int32_t>(after.identified.identity);
    const std::size_t frame = chronicle.find(after.frame).value();
    Told told = begin(Kind::idSwitch, frame, to);
    told.truth = person;
    told.other = from;
    told.sentence = fmt::format("person {} goes from id {} to id {}", person, from, to);
    if (after.frame - before.frame > 1) told.sentence += fmt::format(", unseen since frame {}", before.frame);
    told.sentence += ": ";
    tellTakeover(person, from, to, chronicle.find(before.frame).value(), frame, told);
    told.other = from;
    result.told.push_back(std::move(told));
  }

  /// Whether the box of a track and that of somebody of the truth have anything in common in a frame.
  bool haveMet(std::int64_t person, std::int32_t track, std::size_t frame) const {
    const auto boxOf = [number = chronicle.frames[frame].number](const IdentifiedSequence& sequence,
                                                                 std::int64_t identity) -> const PixelBox* {
      const auto isEarlier = [](const IdentifiedRow& row, int wanted) { return row.frame < wanted; };
      auto row = std::lower_bound(sequence.rows.begin(), sequence.rows.end(), number, isEarlier);
      for (; row != sequence.rows.end() && row->frame == number; ++row) {
        if (row->identified.identity == identity) return &row->identified.box;
      }
      return nullptr;
    };
    const PixelBox* const a = boxOf(*truth, person);
    const PixelBox* const b = boxOf(chronicle.tracks, track);
    return a != nullptr && b != nullptr && a->left < b->left + b->width && b->left < a->left + a->width &&
           a->top < b->top + b->height && b->top < a->top + a->height;
  }

  /// Tells why a track follows somebody in the place of another one, which did so until `last`.
  void tellTakeover(std::int64_t person, std::int32_t from, std::int32_t to, std::size_t last, std::size_t now,
                    Told& told) {
    const ChronicleLife& life = chronicle.lives.at(to);
    // One that began elsewhere came to this person later.
    const bool isNew = life.first > last && haveMet(person, to, life.first);
    const std::size_t at = isNew ? life.first : now;
    if (at != now) told.sentence += fmt::format("id {} began in frame {} because ", to, chronicle.frames[at].number);
    if (at == now && isNew) told.sentence += fmt::format("id {} began here because ", to);
    const auto taken = chronicle.frames[at].detectionOf.find(to);
    if (taken == chronicle.frames[at].detectionOf.end()) {
      const auto seen = chronicle.lastSeenBefore(to, at);
      told.sentence += fmt::format("id {} is nearer without a detection, expected there from frame {}", to,
                                   chronicle.frames[seen.value_or(life.first)].number);
      return;
    }
    told.detection = taken->second;
    if (const PairExplanation* const pair = pairAt(at, from, taken->second)) {
      if (pair->outcome != Outcome::matched) return tellMiss(*pair, at, told);
    }
    const ChronicleLife& old = chronicle.lives.at(from);
    if (old.end && *old.end <= at && tellEnd(from, at, taken->second, told)) return;
    for (std::size_t frame = at + 1; frame-- > last;) {
      const TrackExplanation* const loss = changeAt(frame, from, Change::lost);
      if (loss == nullptr) continue;
      told.sentence += fmt::format("id {} was lost in frame {}", from, chronicle.frames[frame].number);
      if (const auto verdict = decisiveVerdict(*loss)) {
        told.verdicts = {*verdict};
        told.sentence += ": " + inWords(*verdict);
      }
      return;
    }
    const auto other = chronicle.frames[at].detectionOf.find(from);
    if (other != chronicle.frames[at].detectionOf.end()) {
      told.sentence += fmt::format("id {} has gone to detection {}, and id {} is on detection {}", from, other->second,
                                   to, taken->second);
    } else {
      told.sentence +=
          fmt::format("id {} is too far away to matter{}", from, old.end && *old.end <= at ? " and has ended" : "");
    }
  }

  const ExplainOptions& options;
  const TrackerRecipe& recipe;
  std::ostream& err;
  std::optional<IdentifiedSequence> truth;
  Preprocessing preprocessing = Preprocessing::none;
  Chronicle chronicle;
  std::map<std::pair<std::string, std::string>, std::pair<Chronicle, Totals>> others;  // by parameter and value
  Explanations result;
};

std::string changeInWords(const char* what, double before, double after, const char* unit) {
  if (before == after) return "";
  return fmt::format(", {} {:.4g}{} instead of {:.4g}{}", what, after, unit, before, unit);
}

}  // namespace

Explanations explain(const ExplainOptions& options, const TrackerRecipe& recipe, std::ostream& err) {
  return Explaining(options, recipe, err).explain();
}

std::string inWords(const Check& check, const Totals& before) {
  const auto percent = [](double fraction) { return std::round(fraction * 1e4) / 100.0; };
  std::string changes = changeInWords("identities", static_cast<double>(before.identities),
                                      static_cast<double>(check.totals.identities), "");
  if (before.figures && check.totals.figures) {
    const Figures& was = *before.figures;
    const Figures& is = *check.totals.figures;
    changes += changeInWords("switches", was.clear.switches, is.clear.switches, "");
    changes += changeInWords("MOTA", percent(was.clear.mota()), percent(is.clear.mota()), " %");
    changes += changeInWords("IDF1", percent(was.identity.idf1()), percent(is.identity.idf1()), " %");
    for (const FigureName& each : figureNames()) {
      if (each.name == std::string("HOTA")) {
        changes += changeInWords("HOTA", percent(each.of(was)), percent(each.of(is)), " %");
      }
    }
  }
  return fmt::format("{} = {} {}; {}", check.parameter, check.value,
                     check.turnsAround ? "would have changed it" : "would not have been enough",
                     changes.empty() ? "nothing else in number" : changes.substr(2));
}

}  // namespace nivra::hostkit
