#include "hostkit/explaining/explaining.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/evaluation/inputs.h"
#include "hostkit/evaluation/sequenceMatching.h"
#include "hostkit/explaining/chronicle.h"
#include "hostkit/explaining/words.h"

namespace nivra::hostkit {

namespace {

class Explaining {
 public:
  Explaining(const ExplainOptions& explainOptions, const TrackerRecipe& trackerRecipe, std::ostream& messages)
      : options(explainOptions), recipe(trackerRecipe), err(messages) {
    readTruth();
    run = follow(recipe, true);
  }

  Explanations explain() {
    Explanations result;
    result.badRecords = run.badRecords;
    result.totals = totalsOf(run);
    if (options.frame) result.reasons = chronicle.frames()[positionOf(*options.frame)].reasons;
    std::vector<Told> all = told();
    for (Told& each : all) {
      std::optional<Check> check;
      if (each.turn) check = checkOf(*each.turn);
      result.told.push_back({std::move(each), std::move(check)});
    }
    result.leftUnchecked = leftUnchecked;
    return result;
  }

 private:
  static constexpr std::size_t kMostRuns = 100;  // to check decisions by

  /// All that was asked for.
  std::vector<Told> told() const {
    const Teller teller(chronicle);
    std::vector<Told> all;
    const auto take = [&all](std::vector<Told> some) { std::move(some.begin(), some.end(), std::back_inserter(all)); };
    if (options.id) take(teller.life(knownId(*options.id)));
    if (options.frame) take(teller.frame(positionOf(*options.frame)));
    if (options.worst) take(teller.narrowest(*options.worst));
    if (truth) take(teller.switches(*truth, run.tracks, matchSequences(*truth, run.tracks, preprocessing)));
    if (!options.id && !options.frame && !options.worst && !truth) take(teller.births());
    return all;
  }

  std::int32_t knownId(int id) const {
    if (chronicle.lives().count(id) == 0) throw UsageError(fmt::format("--id {}: there is no such identity", id));
    return id;
  }

  std::size_t positionOf(int frame) const {
    const auto position = chronicle.find(frame);
    if (!position) throw UsageError(fmt::format("--frame {}: there is no such frame", frame));
    return *position;
  }

  void readTruth() {
    if (!options.truth.isGiven()) return;
    std::vector<TruthSource> sources = findTruths(options.truth, options.track.read);
    const auto isWanted = [&](const TruthSource& each) { return each.name == options.camera; };
    auto found = sources.size() == 1 ? sources.begin() : std::find_if(sources.begin(), sources.end(), isWanted);
    if (found == sources.end())
      throw UsageError(fmt::format("--truth {}: --camera has to name one", options.truth.path));
    found->read(options.truth.format, options.track.read);
    truth = std::move(found->sequence);
    preprocessing = options.preprocessing.value_or(usualPreprocessing(*truth));
  }

  ReadChronicle follow(const TrackerRecipe& chosen, bool withReasons) const {
    return chronicleOf({options.track, options.camera, withReasons, truth.has_value(), options.frame}, chosen,
                       withReasons ? &err : nullptr);
  }

  Totals totalsOf(const ReadChronicle& of) const {
    Totals totals;
    totals.identities = of.chronicle.lives().size();
    if (truth) totals.figures = matchSequences(*truth, of.tracks, preprocessing).figures;
    return totals;
  }

  /// What another value of the parameter comes to; nothing if none turns the verdict around.
  std::optional<Check> checkOf(const Turn& turn) {
    const std::string value = handyValue(turn.verdict);
    if (value.empty()) return std::nullopt;
    const auto key = std::pair<std::string, std::string>(turn.verdict.parameter, value);
    auto found = others.find(key);
    if (found == others.end() && others.size() == kMostRuns) {
      leftUnchecked = true;
      return std::nullopt;
    }
    if (found == others.end()) {
      ReadChronicle other = follow(recipe.with(key.first, key.second), false);
      Totals totals = totalsOf(other);
      found = others.emplace(key, std::pair(std::move(other.chronicle), std::move(totals))).first;
    }
    const auto& [other, totals] = found->second;
    return Check{key.first, key.second, isTurned(turn, other), totals};
  }

  bool isTurned(const Turn& turn, const Chronicle& other) const {
    return turn.detection ? takesIn(other, turn.track, turn.frame, *turn.detection)
                          : livesOnIn(other, turn.track, turn.frame);
  }

  /// Who is in another chronicle what a track of this one was when it was seen last before a frame.
  std::optional<std::int32_t> sameIn(const Chronicle& other, std::int32_t track, std::size_t frame) const {
    const auto seen = chronicle.lastSeenBefore(track, frame);
    if (!seen) return std::nullopt;
    return other.frames()[*seen].takerOf(chronicle.frames()[*seen].detectionOf(track).value());
  }

  bool takesIn(const Chronicle& other, std::int32_t track, std::size_t frame, std::size_t detection) const {
    const auto same = sameIn(other, track, frame);
    return same && other.frames()[frame].takerOf(detection) == same;
  }

  bool livesOnIn(const Chronicle& other, std::int32_t track, std::size_t frame) const {
    const auto same = sameIn(other, track, frame + 1);
    if (!same) return false;
    const auto& end = other.lives().at(*same).end;
    return !end || *end > frame;
  }

  const ExplainOptions& options;
  const TrackerRecipe& recipe;
  std::ostream& err;
  std::optional<IdentifiedSequence> truth;
  Preprocessing preprocessing = Preprocessing::none;
  ReadChronicle run;
  const Chronicle& chronicle = run.chronicle;
  std::map<std::pair<std::string, std::string>, std::pair<Chronicle, Totals>> others;  // by parameter and value
  bool leftUnchecked = false;
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
