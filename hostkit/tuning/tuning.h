#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "hostkit/evaluation/figures.h"
#include "hostkit/evaluation/preprocessing.h"
#include "hostkit/text/numbers.h"
#include "hostkit/tracking/answers.h"
#include "hostkit/tuning/objective.h"
#include "hostkit/tuning/tunedSequence.h"

namespace nivra::hostkit {

struct TuningOptions : AnswerOptions {
  static constexpr Range<int> kEvaluations = {10, 1'000'000};
  static constexpr Range<int> kFolds = {1, 1000};
  static constexpr Range<double> kGains = {0.0, 100.0};
  static constexpr Range<std::uint64_t> kSeeds = {0, std::numeric_limits<std::uint64_t>::max()};
  static constexpr Range<int> kJobs = {1, 1024};

  std::vector<TunedInput> inputs;              // at least one
  std::optional<Preprocessing> preprocessing;  // what the truth of each sequence is made for, if not given
  TrackerChoice tracker = kTrackers[0];
  std::vector<Setting> settings;        // where the search begins, and what it doesn't change
  std::vector<std::string> parameters;  // that are searched: keys and sections; all that presets set if empty
  Objective objective = {"--objective", "HOTA,IDF1"};
  std::uint64_t seed = 1;
  int evaluations = 1000;  // of all sequences, in each search
  int folds = 5;           // searches that leave out a part of the sequences; fewer if there are fewer sequences
  double leastGain = 0.2;  // of the objective, for which a parameter is worth a change
  int jobs = 1;            // threads
  std::function<bool()> isInterrupted = [] { return false; };
  std::ostream* progress = nullptr;  // a terminal, or null for silence
};

struct TunedParameter {
  std::string key;
  std::string value;
  std::string defaultValue;
  std::optional<double> gain;  // what of the objective goes without it; nothing after an interruption
};

/// How well some parameters do on all sequences together.
struct TunedScore {
  std::string name;
  Figures figures;
};

struct Tuning {
  std::vector<std::string> sequences;
  std::vector<Setting> kept;            // those of the options that were not searched
  std::vector<TunedParameter> changes;  // from the defaults
  std::vector<TunedScore> scores;       // of the defaults, the presets, the given settings if any, and the changes
  std::optional<Figures> heldOut;       // of each part of the sequences with what was found on the others
  std::size_t folds = 0;                // how many parts
  bool isInterrupted = false;
};

/// Searches parameters that do well on some sequences. The result depends on the options alone, not on the number of
/// threads, unless it is interrupted; then it is the best so far.
/// @throws UsageError for parameters that can't be searched, FileError for inputs that can't be used and for an
///   interruption before anything was found.
Tuning tune(const TuningOptions& options);

}  // namespace nivra::hostkit
