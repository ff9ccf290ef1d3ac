#include "hostkit/tuning/tuning.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>
#include <mutex>
#include <numeric>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/evaluation/parallel.h"
#include "hostkit/tracking/progressLine.h"
#include "hostkit/tuning/localSearch.h"
#include "hostkit/tuning/searchSpace.h"
#include "hostkit/worlds/random.h"

namespace nivra::hostkit {

namespace {

constexpr std::size_t kClimbs = 3;            // from the best places of the first look
constexpr double kShareOfLook = 0.25;         // of the evaluations, at random places
constexpr double kPruningPerParameter = 4.0;  // evaluations, about

using SequenceNumbers = std::vector<std::size_t>;

struct Found {
  SearchPoint point;
  ParameterMap values;
  double score = 0.0;
  bool isKnown = false;
};

/// Values that are worth it, and what each of them gives.
struct Pruned {
  ParameterMap values;
  std::map<std::string, double> gains;  // empty after an interruption
};

/// Counts the frames that were tracked, on several threads.
class Work {
 public:
  Work(std::ostream* terminal, double framesToCome)
      : line(terminal, ProgressLine::Clock::now()), planned(framesToCome) {}

  void add(double frames) {
    const std::lock_guard<std::mutex> lock(mutex);
    done += frames;
    tracked += static_cast<std::uint64_t>(frames);
    line.show(tracked, std::min(done / planned, 1.0), ProgressLine::Clock::now());
  }
  /// What was planned turns out to be needless.
  void skip(double frames) {
    const std::lock_guard<std::mutex> lock(mutex);
    done += frames;
  }

 private:
  std::mutex mutex;
  ProgressLine line;
  double planned;
  double done = 0.0;
  std::uint64_t tracked = 0;
};

class Search {
 public:
  explicit Search(const TuningOptions& tuningOptions)
      : options(tuningOptions), space(options.tracker.selector, "--vary", options.parameters) {
    for (const Setting& each : options.settings) {
      const auto& keys = space.keys();
      const bool isSearched = std::find(keys.begin(), keys.end(), each.key) != keys.end();
      if (isSearched) given[each.key] = each.value;
      if (!isSearched) kept.push_back(each);
    }
    const TrackerRecipe checked(options.tracker, options.settings);
    for (const TunedInput& each : options.inputs) {
      sequences.emplace_back(each, options, options.preprocessing);
    }
    divide();
  }

  Tuning run() {
    chooseStarts();
    Work counted(options.progress, plannedFrames());
    work = &counted;
    look();
    climb();
    prune();
    return result();
  }

 private:
  /// All sequences, and for each part of them the others.
  void divide() {
    SequenceNumbers all(sequences.size());
    std::iota(all.begin(), all.end(), 0U);
    trainingSets.push_back(all);
    const std::size_t parts = std::min(sequences.size(), static_cast<std::size_t>(options.folds));
    for (std::size_t part = 0; parts > 1 && part < parts; ++part) {
      SequenceNumbers others;
      SequenceNumbers own;
      for (const std::size_t each : all) (each % parts == part ? own : others).push_back(each);
      trainingSets.push_back(others);
      heldOutSets.push_back(own);
    }
  }

  void chooseStarts() {
    starts.push_back(space.pointOf(given));
    starts.push_back(space.pointOf({}));
    for (const std::string& name : presetNames()) {
      starts.push_back(space.pointOf(presetParameters(name, options.tracker.selector)));
    }
    Random random(options.seed);
    const auto count = static_cast<std::size_t>(kShareOfLook * options.evaluations);
    while (starts.size() < count) {
      SearchPoint& point = starts.emplace_back(space.dimensions());
      for (double& each : point) each = random.uniform(0.0, 1.0);
    }
  }

  std::size_t callsOfClimb() const {
    const auto all = static_cast<std::size_t>(options.evaluations);
    return all > starts.size() ? (all - starts.size()) / kClimbs : 0;
  }

  double framesOf(const SequenceNumbers& set) const {
    double frames = 0.0;
    for (const std::size_t each : set) frames += static_cast<double>(sequences[each].frameCount());
    return frames;
  }

  double pruningCalls() const { return kPruningPerParameter * static_cast<double>(space.keys().size()); }

  double plannedFrames() const {
    double frames = static_cast<double>(starts.size()) * framesOf(trainingSets.front());
    for (const SequenceNumbers& set : trainingSets) {
      frames += (static_cast<double>(kClimbs * callsOfClimb()) + pruningCalls()) * framesOf(set);
    }
    return frames;
  }

  Figures evaluate(const std::vector<Setting>& settings, std::size_t sequence) const {
    return sequences[sequence].evaluate(TrackerRecipe(options.tracker, settings));
  }

  std::vector<Setting> settingsWith(const ParameterMap& values) const {
    std::vector<Setting> settings = kept;
    for (const auto& [key, value] : values) settings.push_back({key, value});
    return settings;
  }

  Figures evaluate(const ParameterMap& values, const SequenceNumbers& set) const {
    Figures sum;
    for (const std::size_t each : set) sum += evaluate(settingsWith(values), each);
    return sum;
  }

  double scoreOf(const ParameterMap& values, const SequenceNumbers& set) const {
    const double score = options.objective.of(evaluate(values, set));
    work->add(framesOf(set));
    return score;
  }

  /// Evaluates all starts on all sequences, once for all training sets.
  void look() {
    const std::size_t count = sequences.size();
    std::vector<std::optional<Figures>> figures(starts.size() * count);
    forEachInParallel(figures.size(), options.jobs, [&](std::size_t i) {
      if (options.isInterrupted()) return;
      figures[i] = evaluate(settingsWith(space.valuesAt(starts[i / count])), i % count);
      work->add(static_cast<double>(sequences[i % count].frameCount()));
    });
    for (const SequenceNumbers& set : trainingSets) looks.push_back(bestOf(figures, set));
    if (looks.front().empty()) throw FileError("interrupted before anything was found");
  }

  std::vector<Found> bestOf(const std::vector<std::optional<Figures>>& figures, const SequenceNumbers& set) const {
    std::vector<Found> best;
    for (std::size_t start = 0; start < starts.size(); ++start) {
      Figures sum;
      const auto isMissing = [&](std::size_t each) { return !figures[start * sequences.size() + each]; };
      if (std::any_of(set.begin(), set.end(), isMissing)) continue;
      for (const std::size_t each : set) sum += *figures[start * sequences.size() + each];
      const ParameterMap values = space.valuesAt(starts[start]);
      const auto isSame = [&](const Found& other) { return other.values == values; };
      if (std::any_of(best.begin(), best.end(), isSame)) continue;
      best.push_back({starts[start], values, options.objective.of(sum), true});
    }
    std::stable_sort(best.begin(), best.end(), [](const Found& a, const Found& b) { return a.score > b.score; });
    if (best.size() > kClimbs) best.resize(kClimbs);
    return best;
  }

  /// Goes uphill from the best places of each training set.
  void climb() {
    std::vector<Found> tops(trainingSets.size() * kClimbs);
    forEachInParallel(tops.size(), options.jobs, [&](std::size_t i) {
      const std::vector<Found>& begin = looks[i / kClimbs];
      if (i % kClimbs < begin.size()) tops[i] = climbFrom(begin[i % kClimbs], trainingSets[i / kClimbs]);
    });
    for (std::size_t set = 0; set < trainingSets.size(); ++set) {
      Found best;
      for (std::size_t i = set * kClimbs; i < (set + 1) * kClimbs; ++i) {
        if (tops[i].isKnown && (!best.isKnown || tops[i].score > best.score)) best = tops[i];
      }
      found.push_back(best);
    }
  }

  Found climbFrom(const Found& start, const SequenceNumbers& set) const {
    Found best = start;
    std::map<ParameterMap, double> known = {{start.values, start.score}};
    std::size_t callsLeft = callsOfClimb();
    const auto heightAt = [&](const SearchPoint& point) -> std::optional<double> {
      const ParameterMap values = space.valuesAt(point);
      const auto before = known.find(values);
      if (before != known.end()) return before->second;
      if (callsLeft == 0 || options.isInterrupted()) return std::nullopt;
      --callsLeft;
      const double score = scoreOf(values, set);
      known.emplace(values, score);
      if (score > best.score) best = {point, values, score, true};
      return score;
    };
    // Small steps see a summit where wide ones see a ridge, so what they led to is left with wide steps again.
    for (double before = std::numeric_limits<double>::lowest(); best.score > before && callsLeft > 0;) {
      before = best.score;
      goUphill(best.point, heightAt);
    }
    work->skip(static_cast<double>(callsLeft) * framesOf(set));
    return best;
  }

  /// Leaves out what gives nothing, in each training set.
  void prune() {
    pruned.resize(trainingSets.size());
    forEachInParallel(trainingSets.size(), options.jobs,
                      [&](std::size_t i) { pruned[i] = prunedOf(found[i], trainingSets[i]); });
  }

  Pruned prunedOf(const Found& whole, const SequenceNumbers& set) const {
    Pruned rest = {whole.values, {}};
    double score = whole.score;
    double calls = 0.0;
    while (!rest.values.empty()) {
      rest.gains.clear();
      std::map<std::string, double> scoresWithout;
      for (const auto& [key, value] : rest.values) {
        if (options.isInterrupted()) return {rest.values, {}};
        ParameterMap without = rest.values;
        without.erase(key);
        scoresWithout[key] = scoreOf(without, set);
        rest.gains[key] = score - scoresWithout[key];
        ++calls;
      }
      const auto least = std::min_element(rest.gains.begin(), rest.gains.end(),
                                          [](const auto& a, const auto& b) { return a.second < b.second; });
      if (least->second >= options.leastGain) break;
      score = scoresWithout[least->first];
      rest.values.erase(least->first);
      rest.gains.erase(least);
    }
    work->skip(std::max(0.0, pruningCalls() - calls) * framesOf(set));
    return rest;
  }

  Tuning result() const {
    Tuning tuning;
    tuning.isInterrupted = options.isInterrupted();
    for (const TunedSequence& each : sequences) tuning.sequences.push_back(each.name());
    tuning.kept = kept;
    for (const auto& [key, value] : pruned.front().values) {
      const auto gain = pruned.front().gains.find(key);
      tuning.changes.push_back({key, value, space.defaultOf(key),
                                gain == pruned.front().gains.end() ? std::nullopt : std::optional(gain->second)});
    }
    tuning.scores = scores();
    if (!heldOutSets.empty() && !tuning.isInterrupted) {
      tuning.folds = heldOutSets.size();
      Figures sum;
      for (std::size_t part = 0; part < heldOutSets.size(); ++part) {
        sum += evaluate(pruned[part + 1].values, heldOutSets[part]);
      }
      tuning.heldOut = sum;
    }
    return tuning;
  }

  std::vector<TunedScore> scores() const {
    std::vector<std::pair<std::string, std::vector<Setting>>> rows = {{"defaults", {}}};
    for (const std::string& name : presetNames()) {
      std::vector<Setting> settings;
      for (const auto& [key, value] : presetParameters(name, options.tracker.selector))
        settings.push_back({key, value});
      rows.emplace_back(name, settings);
    }
    if (!options.settings.empty()) rows.emplace_back("as given", options.settings);
    rows.emplace_back("tuned", settingsWith(pruned.front().values));
    std::vector<TunedScore> all(rows.size());
    forEachInParallel(rows.size(), options.jobs, [&](std::size_t i) {
      all[i].name = rows[i].first;
      for (std::size_t each = 0; each < sequences.size(); ++each) all[i].figures += evaluate(rows[i].second, each);
    });
    return all;
  }

  const TuningOptions& options;
  SearchSpace space;
  ParameterMap given;         // of what is searched
  std::vector<Setting> kept;  // of all else
  std::vector<TunedSequence> sequences;
  std::vector<SequenceNumbers> trainingSets;  // the first one is all
  std::vector<SequenceNumbers> heldOutSets;   // what each of the others lacks
  std::vector<SearchPoint> starts;
  std::vector<std::vector<Found>> looks;  // of each training set, the best first
  std::vector<Found> found;               // likewise
  std::vector<Pruned> pruned;             // likewise
  Work* work = nullptr;
};

}  // namespace

Tuning tune(const TuningOptions& options) { return Search(options).run(); }

}  // namespace nivra::hostkit
