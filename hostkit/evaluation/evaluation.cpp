#include "hostkit/evaluation/evaluation.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/evaluation/inputs.h"
#include "hostkit/evaluation/parallel.h"
#include "hostkit/evaluation/sequenceMatching.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/identities.h"

namespace nivra::hostkit {

namespace {

namespace fs = std::filesystem;

bool isFolder(const fs::path& path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored);
}

/// A list in a sentence.
std::string listed(const std::vector<std::string>& names) { return fmt::format("{}", fmt::join(names, ", ")); }

/// What a tracker has: a folder's files, or the sequences of a file.
class TrackSource {
 public:
  TrackSource(const TrackerInput& input, const EvaluationOptions& evaluationOptions)
      : name(input.name.empty() ? nameOf(fs::path(input.path)) : input.name), options(evaluationOptions) {
    if (isFolder(input.path)) {
      files = sequencesIn(input.path);
    } else {
      sequences = readIdentities({input.path, options.trackFormat}, options.read);
    }
  }

  /// @param isOnly Whether there is no other sequence that tracks of another name could belong to.
  bool has(const std::string& sequence, bool isOnly) const {
    return files.count(sequence) > 0 || find(sequence, isOnly) != nullptr;
  }

  IdentifiedSequence read(const std::string& sequence, bool isOnly, const ReadSettings& settings) const {
    if (const IdentifiedSequence* const found = find(sequence, isOnly)) return *found;
    auto all = readIdentities({files.at(sequence).string(), options.trackFormat}, settings);
    if (all.size() > 1) {
      throw FileError(fmt::format("{} holds several cameras: {}", files.at(sequence).string(), listed(namesOf(all))));
    }
    return all.empty() ? IdentifiedSequence() : std::move(all.front());
  }

  std::string name;

 private:
  static std::vector<std::string> namesOf(const std::vector<IdentifiedSequence>& sequences) {
    std::vector<std::string> names;
    for (const IdentifiedSequence& each : sequences) names.push_back(each.name);
    return names;
  }

  const IdentifiedSequence* find(const std::string& sequence, bool isOnly) const {
    if (isOnly && sequences.size() == 1) return &sequences.front();
    const auto found = std::find_if(sequences.begin(), sequences.end(),
                                    [&](const IdentifiedSequence& each) { return each.name == sequence; });
    return found == sequences.end() ? nullptr : &*found;
  }

  const EvaluationOptions& options;
  std::map<std::string, fs::path> files;
  std::vector<IdentifiedSequence> sequences;
};

/// A sequence and what each tracker makes of it.
struct Contest {
  explicit Contest(TruthSource truthSource) : source(std::move(truthSource)) {}

  const std::string& name() const { return source.name; }
  const IdentifiedSequence& truth() const { return source.sequence; }

  TruthSource source;
  Preprocessing preprocessing = Preprocessing::none;
  std::vector<int> frames = {};                    // of the truth, in which there is anybody
  std::vector<Truth> truths = {};                  // one for each class
  std::vector<bool> takesPart = {};                // tracker by tracker
  std::vector<std::vector<Figures>> figures = {};  // of each tracker, class by class
};

class EvaluationRun {
 public:
  explicit EvaluationRun(const EvaluationOptions& evaluationOptions)
      : options(evaluationOptions), classes(options.classes) {
    if (classes.empty()) classes.emplace_back();
    for (const TrackerInput& each : options.trackers) sources.emplace_back(each, options);
    tellNamesApart();
  }

  Evaluation evaluate() {
    findTruths();
    chooseSequences();
    inOrder(contests.size(), [this](std::size_t i, const ReadSettings& settings) { readTruth(contests[i], settings); });
    leaveOutUnfit();
    requireClasses();
    inOrder(contests.size(), [this](std::size_t i, const ReadSettings&) { prepare(contests[i]); });
    const std::size_t trackers = sources.size();
    inOrder(contests.size() * trackers, [&](std::size_t i, const ReadSettings& settings) {
      evaluate(contests[i / trackers], i % trackers, settings);
    });
    return tabulate();
  }

 private:
  void tellNamesApart() {
    std::map<std::string, int> uses;
    for (const TrackSource& each : sources) ++uses[each.name];
    for (std::size_t i = 0; i < sources.size(); ++i) {
      if (uses[sources[i].name] < 2) continue;
      if (!options.trackers[i].name.empty()) {
        throw UsageError(fmt::format("two trackers are called {}", sources[i].name));
      }
      sources[i].name = options.trackers[i].path;
    }
  }

  void findTruths() {
    for (TruthSource& each : hostkit::findTruths({options.truth, options.truthFormat}, options.read)) {
      contests.emplace_back(std::move(each));
    }
    isOnly = contests.size() == 1;
  }

  /// Leaves those that take part.
  void chooseSequences() {
    for (const std::string& each : options.sequences) {
      const auto isIt = [&](const Contest& contest) { return contest.name() == each; };
      if (std::none_of(contests.begin(), contests.end(), isIt)) {
        throw FileError(fmt::format("no truth of a sequence {} in {}", each, shownName(options.truth)));
      }
    }
    std::vector<std::string> without;
    std::vector<Contest> chosen;
    for (Contest& contest : contests) {
      const auto& wanted = options.sequences;
      const bool isWanted = std::find(wanted.begin(), wanted.end(), contest.name()) != wanted.end();
      if (!wanted.empty() && !isWanted) continue;
      for (const TrackSource& each : sources) contest.takesPart.push_back(each.has(contest.name(), isOnly));
      const auto& takesPart = contest.takesPart;
      if (std::find(takesPart.begin(), takesPart.end(), true) == takesPart.end()) {
        without.push_back(contest.name());
      } else {
        chosen.push_back(std::move(contest));
      }
    }
    if (chosen.empty()) {
      std::vector<std::string> places;
      for (const TrackerInput& each : options.trackers) places.push_back(shownName(each.path));
      throw FileError(fmt::format("no tracks of {} in {}", listed(without), listed(places)));
    }
    if (!without.empty()) options.read.warn(fmt::format("no tracks of {}, which are left out", listed(without)));
    contests = std::move(chosen);
    for (std::size_t i = 0; i < sources.size(); ++i) warnOfMissing(i);
  }

  void warnOfMissing(std::size_t tracker) const {
    std::vector<std::string> missing;
    for (const Contest& each : contests) {
      if (!each.takesPart[tracker]) missing.push_back(each.name());
    }
    if (missing.size() == contests.size()) {
      throw FileError(fmt::format("{} has no tracks of {}", sources[tracker].name, listed(missing)));
    }
    if (missing.empty()) return;
    options.read.warn(fmt::format("{} has no tracks of {}: its figures of all sequences are of fewer",
                                  sources[tracker].name, listed(missing)));
  }

  /// Works in parallel; warnings come in the order of the tasks.
  void inOrder(std::size_t count, const std::function<void(std::size_t i, const ReadSettings& settings)>& work) const {
    std::vector<std::vector<std::string>> warnings(count);
    forEachInParallel(count, options.jobs, [&](std::size_t i) {
      ReadSettings settings = options.read;
      settings.warn = [&warnings, i](const std::string& warning) { warnings[i].push_back(warning); };
      work(i, settings);
    });
    for (const auto& list : warnings) std::for_each(list.begin(), list.end(), options.read.warn);
  }

  void readTruth(Contest& contest, const ReadSettings& settings) const {
    contest.source.read(options.truthFormat, settings);
    const bool byClass = !options.classes.empty();
    contest.preprocessing =
        options.preprocessing.value_or(byClass ? Preprocessing::none : usualPreprocessing(contest.truth()));
  }

  void leaveOutUnfit() {
    std::vector<std::string> unfit;
    const auto isUnfit = [&](const Contest& each) {
      return each.preprocessing != Preprocessing::none && !hasPedestrianClasses(each.truth());
    };
    for (const Contest& each : contests) {
      if (isUnfit(each)) unfit.push_back(each.name());
    }
    if (unfit.empty()) return;
    const auto what = fmt::format("the truth of {} has no classes to preprocess by", listed(unfit));
    if (unfit.size() == contests.size()) throw FileError(what);
    options.read.warn(what + ", which is left out");
    contests.erase(std::remove_if(contests.begin(), contests.end(), isUnfit), contests.end());
  }

  void requireClasses() const {
    std::set<std::string> labels;
    for (const Contest& contest : contests) {
      labels.insert(contest.truth().labels.begin(), contest.truth().labels.end());
    }
    for (const std::string& each : options.classes) {
      if (labels.count(each) > 0) continue;
      throw FileError(
          labels.empty() ? "the truth has no classes"
                         : fmt::format("no box of the truth is of class {}, but of {}", each, fmt::join(labels, ", ")));
    }
  }

  void prepare(Contest& contest) const {
    contest.frames = occupiedFrames(contest.truth());
    for (const std::string& each : classes)
      contest.truths.emplace_back(truthFramesOf(contest.truth(), contest.preprocessing, each));
    contest.figures.resize(sources.size());
  }

  void evaluate(Contest& contest, std::size_t tracker, const ReadSettings& settings) const {
    if (!contest.takesPart[tracker]) return;
    const IdentifiedSequence tracks = sources[tracker].read(contest.name(), isOnly, settings);
    for (std::size_t i = 0; i < classes.size(); ++i) {
      contest.figures[tracker].push_back(
          hostkit::evaluate(contest.truth(), contest.truths[i], contest.frames, tracks, classes[i]));
    }
  }

  Evaluation tabulate() const {
    Evaluation evaluation;
    evaluation.trackerCount = sources.size();
    evaluation.sequenceCount = contests.size();
    for (std::size_t category = 0; category < classes.size(); ++category) {
      std::vector<Figures> all(sources.size());
      for (const Contest& contest : contests) {
        const std::size_t first = evaluation.rows.size();
        for (std::size_t tracker = 0; tracker < sources.size(); ++tracker) {
          if (!contest.takesPart[tracker]) continue;
          const Figures& figures = contest.figures[tracker][category];
          all[tracker] += figures;
          EvaluationRow row = {sources[tracker].name, classes[category], contest.name(), contest.preprocessing,
                               figures};
          if (tracker > 0 && contest.takesPart[0]) row.reference = first;
          evaluation.rows.push_back(std::move(row));
        }
      }
      const std::size_t first = evaluation.rows.size();
      for (std::size_t tracker = 0; tracker < sources.size(); ++tracker) {
        EvaluationRow row = {sources[tracker].name, classes[category], "", Preprocessing::none, all[tracker]};
        if (tracker > 0 && takesPartAsFirst(tracker)) row.reference = first;
        evaluation.rows.push_back(std::move(row));
      }
    }
    return evaluation;
  }

  /// Whether a tracker has tracks of the very sequences that the first one has.
  bool takesPartAsFirst(std::size_t tracker) const {
    return std::all_of(contests.begin(), contests.end(),
                       [&](const Contest& each) { return each.takesPart[tracker] == each.takesPart[0]; });
  }

  const EvaluationOptions& options;
  std::vector<std::string> classes;
  std::vector<TrackSource> sources;
  std::vector<Contest> contests;
  bool isOnly = false;
};

}  // namespace

Evaluation evaluate(const EvaluationOptions& options) {
  if (options.preprocessing.value_or(Preprocessing::none) != Preprocessing::none && !options.classes.empty()) {
    throw UsageError("preprocessing leaves one class alone: give either classes or preprocessing");
  }
  return EvaluationRun(options).evaluate();
}

}  // namespace nivra::hostkit
