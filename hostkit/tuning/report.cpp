#include "hostkit/tuning/report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>

namespace nivra::hostkit {

namespace {

constexpr const char* kShownFigures[] = {"HOTA", "IDF1", "MOTA"};

double percentOf(const Figures& figures, const std::string& name) {
  const auto& all = figureNames();
  const auto figure = std::find_if(all.begin(), all.end(), [&](const FigureName& each) { return each.name == name; });
  return 100.0 * figure->of(figures);
}

std::string rowOf(const Objective& objective, const std::string& name, const Figures& figures) {
  std::string row = fmt::format("#   {:<10}{:>10.2f}", name, objective.of(figures));
  for (const char* const each : kShownFigures) row += fmt::format("{:>8.2f}", percentOf(figures, each));
  return row + '\n';
}

std::string tableOf(const Objective& objective, const Tuning& tuning) {
  std::string table = fmt::format("#   {:<10}{:>10}", "", "objective");
  for (const char* const each : kShownFigures) table += fmt::format("{:>8}", each);
  table += '\n';
  for (const TunedScore& each : tuning.scores) table += rowOf(objective, each.name, each.figures);
  if (tuning.heldOut) table += rowOf(objective, "held out", *tuning.heldOut);
  return table;
}

std::string remarkOnTraining(const Tuning& tuning) {
  if (tuning.isInterrupted) return "# The search was interrupted: this is the best so far, and nothing was left out.\n";
  if (tuning.heldOut) {
    return fmt::format(
        "# \"held out\": each of {} parts of the sequences with parameters that were found on the others alone, as may "
        "be\n"
        "# expected of other sequences of the kind.\n",
        tuning.folds);
  }
  return "# Nothing was held out: what suits these sequences may suit them alone.\n";
}

}  // namespace

std::string parametersAsText(const TuningOptions& options, const Tuning& tuning) {
  std::string text = fmt::format(
      "# Made by nivra tune, for --tracker {}. Objective: {}. Sequences: {}.\n"
      "# {} evaluations in each search, seed {}.\n#\n{}#\n{}#\n",
      options.tracker.name, options.objective.text(), fmt::join(tuning.sequences, ", "), options.evaluations,
      options.seed, tableOf(options.objective, tuning), remarkOnTraining(tuning));
  if (!tuning.kept.empty()) text += "# As given, and not searched:\n";
  for (const Setting& each : tuning.kept) text += fmt::format("{} = {}\n", each.key, each.value);
  text += tuning.changes.empty() ? "# Nothing gives more than the defaults.\n"
                                 : "# What was found; without one of these, the objective is lower by what it gives.\n";
  for (const TunedParameter& each : tuning.changes) {
    const std::string gain = each.gain ? fmt::format(", gives {:.2f}", *each.gain) : "";
    text += fmt::format("{} = {}  # {} by default{}\n", each.key, each.value, each.defaultValue, gain);
  }
  return text;
}

std::string summaryOf(const TuningOptions& options, const Tuning& tuning) {
  const auto scoreOf = [&](const Figures& figures) { return fmt::format("{:.2f}", options.objective.of(figures)); };
  const std::string heldOut = tuning.heldOut ? fmt::format(", {} held out", scoreOf(*tuning.heldOut)) : "";
  return fmt::format("{}: {} by default, {} tuned{}, with {} parameter{} changed{}\n", options.objective.text(),
                     scoreOf(tuning.scores.front().figures), scoreOf(tuning.scores.back().figures), heldOut,
                     tuning.changes.size(), tuning.changes.size() == 1 ? "" : "s",
                     tuning.isInterrupted ? "; interrupted" : "");
}

}  // namespace nivra::hostkit
