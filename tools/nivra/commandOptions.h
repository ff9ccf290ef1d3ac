#pragma once

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hostkit/errors.h"
#include "hostkit/files/output.h"
#include "hostkit/formats/format.h"
#include "hostkit/text/numbers.h"
#include "hostkit/tracking/answers.h"
#include "hostkit/tracking/trackerRecipe.h"

namespace nivra::tool {

using namespace hostkit;  // commands speak of little else

/// @throws UsageError unless `text` is a number of the range; numbers are as strict here as they are in files.
template <class Number>
Number parseOption(const std::string& option, const std::string& text, Range<Number> range) {
  const auto number = parseNumber(text, range);
  if (!number) throw UsageError(option + " " + text + ": " + expectation(range));
  return *number;
}

/// The pieces of "a,b,c", none of which may be empty.
std::vector<std::string> parseList(const std::string& option, const std::string& text);

/// The two sides of "name=value", of which the first may not be empty.
std::pair<std::string, std::string> parseAssignment(const std::string& option, const std::string& text);

/// @throws UsageError unless `text` is the argument of --picture.
PictureSize parsePicture(const std::string& text);

/// A number of frames per second, which may be given as a quotient such as 30000/1001.
/// @throws UsageError unless `text` is the argument of --fps.
double parseFrameRate(const std::string& text);

/// A length of time, in seconds or with a unit such as in 100ms or 2min.
/// @return It in ns.
/// @throws UsageError unless `text` is that.
std::uint64_t parseTime(const std::string& option, const std::string& text);

/// One of the tool's commands while it is declared. Its options keep what they say in variables of the caller, which
/// live until the command has run. `kind` is how help calls an option's argument.
class Command {
 public:
  using Take = std::function<void(const std::string& text)>;

  Command(CLI::App& app, const char* name, const char* about, const char* help);

  /// An option that takes a text. An empty argument is mostly a variable that a script forgot to set, and refused.
  CLI::Option* addText(const std::string& name, std::string& text, const char* kind, const std::string& help);
  /// One that may be given again and again, each time with one text.
  CLI::Option* addTexts(const std::string& name, std::vector<std::string>& texts, const char* kind,
                        const std::string& help);
  CLI::Option* addFlag(const std::string& name, bool& flag, const std::string& help);

  /// A text that is handed on when the command is about to run; `take` may refuse it by a UsageError.
  CLI::Option* addParsed(const std::string& name, const char* kind, const std::string& help, const Take& take);
  /// Texts of an option that may be repeated, likewise.
  void addEachParsed(const std::string& name, const char* kind, const std::string& help, const Take& take);

  /// @param number Or an optional one; help shows what it holds as the default.
  template <class Number, class Variable>
  void addNumber(const std::string& name, Variable& number, Range<Number> range, const char* kind,
                 const std::string& help) {
    const std::optional<Number> usual = number;
    addParsed(name, kind, help, [=, &number](const std::string& text) {
      number = parseOption(name, text, range);
    })->default_str(usual ? fmt::format("{}", *usual) : "");
  }

  /// @param run What the command does; asked for help or called wrongly, it doesn't run.
  void whenChosen(const std::function<void()>& run);

 private:
  CLI::App& command;
  std::vector<std::function<void()>> parsers;
};

/// What may be said about lines, wherever they come from: --label, --scores, --picture and --fps.
void addReadOptions(Command& command, ReadSettings& settings);

/// What may be said about inputs: that, --from and --category.
struct InputOptions {
  void addTo(Command& command);

  /// What --from says, or else the input's own format. Says on `err` what a terminal is waited for with.
  const Format& formatOf(const std::string& input, std::ostream& err) const;

  std::string from;
  ReadSettings settings;
};

/// What makes a tracker: --tracker, --preset, --params and --param.
struct TrackerOptions {
  void addTo(Command& command);

  /// What the preset sets, then the files, then the arguments: the last one holds.
  /// @throws UsageError, FileError naming what is no setting.
  std::vector<Setting> settings() const;

  /// @param err Takes what is doubtful.
  /// @throws UsageError, FileError naming the setting that is at fault.
  TrackerRecipe recipe(std::ostream& err) const;

  TrackerChoice choice = kTrackers[0];
  std::string preset;     // empty for none
  bool isChosen = false;  // by --tracker
  std::vector<std::string> paramsFiles;
  std::vector<std::string> params;
};

/// What else decides the tracks: --associate, --labels, --stabilise, --max-detections, --report, --hold and --boxes.
void addTrackingOptions(Command& command, AnswerOptions& options);

/// And the answers to a stream: --debug, too.
void addAnswerOptions(Command& command, AnswerOptions& options);

/// The path that stands for the standard output.
inline const std::string kStandardOutput = "-";

/// -o and --force.
struct OutputOptions {
  CLI::Option* addTo(Command& command, const char* kind, const std::string& help);

  Target target(std::ostream& standardOutput) const {
    return {standardOutput, path == kStandardOutput ? "" : path, replaces};
  }

  std::string path;
  bool replaces = false;
};

}  // namespace nivra::tool
