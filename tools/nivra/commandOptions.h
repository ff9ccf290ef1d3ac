#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "errors.h"
#include "format.h"
#include "numbers.h"
#include "output.h"
#include "picture.h"

namespace nivra::tool {

/// An option that takes a text. An empty argument is mostly a variable that a script forgot to set, and refused.
CLI::Option* addText(CLI::App& command, const std::string& name, std::string& text, const std::string& help);

/// One that may be given again and again, each time with one text.
CLI::Option* addTexts(CLI::App& command, const std::string& name, std::vector<std::string>& texts,
                      const std::string& help);

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

/// --picture and --fps.
class PictureOptions {
 public:
  PictureOptions() = default;
  PictureOptions(const char* usualPicture, const char* usualFrameRate)
      : pictureText(usualPicture), frameRateText(usualFrameRate) {}

  void addTo(CLI::App& command, const std::string& instead);

  std::optional<PictureSize> picture() const;
  std::optional<double> frameRate() const;

 private:
  std::string pictureText;
  std::string frameRateText;
};

/// What may be said about inputs: --from, --picture, --fps, --label and --category.
class InputOptions {
 public:
  void addTo(CLI::App& command);

  ReadSettings settings() const;
  /// What --from says, or else the input's own format.
  const Format& formatOf(const std::string& input) const;

 private:
  std::string from;
  std::string label = ReadSettings().label;
  std::vector<std::string> categories;
  PictureOptions pictureOptions;
};

/// -o and --force.
class OutputOptions {
 public:
  CLI::Option* addTo(CLI::App& command, const std::string& help, const std::string& kind);

  Target target(std::ostream& standardOutput) const { return {standardOutput, path, replaces}; }

 private:
  std::string path;
  bool replaces = false;
};

}  // namespace nivra::tool
