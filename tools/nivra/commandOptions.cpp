#include "commandOptions.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <limits>
#include <memory>
#include <string_view>

#include "hostkit/files/byteSource.h"
#include "hostkit/formats/categoryNames.h"
#include "hostkit/formats/formats.h"
#include "hostkit/formats/keyValues.h"
#include "hostkit/tracking/settings.h"
#include "nivra/presets.h"

namespace nivra::tool {

namespace {

constexpr Range<std::size_t> kDetectionCounts = {1, 10'000'000};
constexpr Range<int> kCategories = {0, std::numeric_limits<int>::max()};

std::optional<ScoreUnit> parseScoreUnit(const std::string& text) {
  if (text == "auto") return std::nullopt;
  if (text == "fraction") return ScoreUnit::fraction;
  if (text == "percent") return ScoreUnit::percent;
  throw UsageError(fmt::format("--scores {}: expected fraction, percent or auto", text));
}

bool parseStabilise(const std::string& text) {
  if (text != "auto" && text != "off") throw UsageError("--stabilise " + text + ": expected auto or off");
  return text == "auto";
}

std::string complaintAboutEmpty(const std::string& argument) { return argument.empty() ? "must not be empty" : ""; }

}  // namespace

std::vector<std::string> parseList(const std::string& option, const std::string& text) {
  std::vector<std::string> pieces;
  std::size_t begin = 0;
  while (begin <= text.size()) {
    const auto end = std::min(text.find(',', begin), text.size());
    pieces.emplace_back(trimmed(std::string_view(text).substr(begin, end - begin)));
    if (pieces.back().empty()) throw UsageError(fmt::format("{} {}: an empty label", option, text));
    begin = end + 1;
  }
  return pieces;
}

std::pair<std::string, std::string> parseAssignment(const std::string& option, const std::string& text) {
  auto entry = splitKeyValue(text);
  if (!entry) throw UsageError(fmt::format("{} {}: expected an equals sign between two sides", option, text));
  return {std::move(entry->key), std::move(entry->value)};
}

PictureSize parsePicture(const std::string& text) {
  const auto cross = text.find('x');
  const auto width = parseNumber(text.substr(0, cross), kPictureSides);
  const auto height = cross == std::string::npos ? std::nullopt : parseNumber(text.substr(cross + 1), kPictureSides);
  if (!width || !height) {
    throw UsageError(fmt::format("--picture {}: expected WIDTHxHEIGHT in pixels, such as 1920x1080", text));
  }
  return {*width, *height};
}

double parseFrameRate(const std::string& text) {
  const auto slash = text.find('/');
  if (slash == std::string::npos) return parseOption("--fps", text, kFrameRates);
  constexpr Range<double> kSides = {1.0, 1e9};
  const auto frames = parseNumber(text.substr(0, slash), kSides);
  const auto seconds = parseNumber(text.substr(slash + 1), kSides);
  const double rate = frames && seconds ? *frames / *seconds : 0.0;
  if (rate < kFrameRates.least || rate > kFrameRates.most) {
    throw UsageError(fmt::format("--fps {}: {}, or a quotient such as 30000/1001", text, expectation(kFrameRates)));
  }
  return rate;
}

std::uint64_t parseTime(const std::string& option, const std::string& text) {
  constexpr std::pair<std::string_view, double> kUnits[] = {{"ms", 1e6}, {"min", 60e9}, {"s", 1e9}, {"h", 3600e9}};
  constexpr Range<double> kTimes = {0.0, 1e18};
  const auto unit = std::find_if(std::begin(kUnits), std::end(kUnits), [&](const auto& each) {
    return text.size() > each.first.size() && text.substr(text.size() - each.first.size()) == each.first;
  });
  const bool hasUnit = unit != std::end(kUnits);
  const auto number = parseNumber(text.substr(0, text.size() - (hasUnit ? unit->first.size() : 0)), kTimes);
  const double nanoseconds = number.value_or(-1.0) * (hasUnit ? unit->second : 1e9);
  if (!number || nanoseconds > kTimes.most) {
    throw UsageError(
        fmt::format("{} {}: expected a time in seconds, or with a unit such as 100ms or 2min", option, text));
  }
  return static_cast<std::uint64_t>(std::llround(nanoseconds));
}

Command::Command(CLI::App& app, const char* name, const char* about, const char* help)
    : command(*app.add_subcommand(name, about)) {
  command.footer(help);
}

CLI::Option* Command::addText(const std::string& name, std::string& text, const char* kind, const std::string& help) {
  return command.add_option(name, text, help)->check(complaintAboutEmpty)->type_name(kind)->capture_default_str();
}

CLI::Option* Command::addTexts(const std::string& name, std::vector<std::string>& texts, const char* kind,
                               const std::string& help) {
  return command.add_option(name, texts, help)->check(complaintAboutEmpty)->type_name(kind)->allow_extra_args(false);
}

CLI::Option* Command::addFlag(const std::string& name, bool& flag, const std::string& help) {
  return command.add_flag(name, flag, help);
}

CLI::Option* Command::addParsed(const std::string& name, const char* kind, const std::string& help, const Take& take) {
  const auto text = std::make_shared<std::string>();
  parsers.push_back([text, take] {
    if (!text->empty()) take(*text);
  });
  return addText(name, *text, kind, help);
}

void Command::addEachParsed(const std::string& name, const char* kind, const std::string& help, const Take& take) {
  const auto texts = std::make_shared<std::vector<std::string>>();
  parsers.push_back([texts, take] { std::for_each(texts->begin(), texts->end(), take); });
  addTexts(name, *texts, kind, help);
}

void Command::whenChosen(const std::function<void()>& run) {
  command.callback([parsers = std::move(parsers), run] {
    for (const auto& parse : parsers) parse();
    run();
  });
}

void addReadOptions(Command& command, ReadSettings& settings) {
  command.addText("--label", settings.label, "LABEL", "Label of detections without one");
  command.addParsed("--scores", "UNIT", "What the input's scores are: fraction, percent or auto",
                    [&settings](const std::string& text) { settings.scores = parseScoreUnit(text); });
  command.addParsed("--picture", "WxH", "Size of the picture in pixels, if the input doesn't tell",
                    [&settings](const std::string& text) { settings.picture = parsePicture(text); });
  command.addParsed("--fps", "F", "Frames per second, such as 25 or 30000/1001, if the input doesn't tell",
                    [&settings](const std::string& text) { settings.frameRate = parseFrameRate(text); });
}

void InputOptions::addTo(Command& command) {
  command.addText("--from", from, "FORMAT",
                  "Format of the input, told from what it holds if not given: " + formatNames());
  addReadOptions(command, settings);
  command.addEachParsed("--category", "NUMBER=LABEL",
                        "Label of a numbered category, or a file of them, YAML or a line each; may be repeated",
                        [this](const std::string& text) {
                          std::error_code ignored;
                          if (std::filesystem::is_regular_file(text, ignored)) {
                            for (const auto& [number, label] : readCategoryNames(text)) {
                              settings.categories[number] = label;
                            }
                            return;
                          }
                          const auto [number, label] = parseAssignment("--category", text);
                          settings.categories[parseOption("--category", number, kCategories)] = label;
                        });
}

const Format& InputOptions::formatOf(const std::string& input, std::ostream& err) const {
  const Format& format = from.empty() ? recogniseFormat(input) : formatNamed("--from", from);
  if (input == kStandardInput && isatty(STDIN_FILENO) == 1) {
    err << fmt::format("waiting for {} from this terminal; control-D ends it, and --help tells more\n", format.name);
  }
  return format;
}

void TrackerOptions::addTo(Command& command) {
  command.addParsed("--tracker", "NAME", "vanilla, reid, hybrid or lowfps, or 0 to 3; vanilla if not given",
                    [this](const std::string& text) {
                      choice = parseTrackerChoice(text);
                      isChosen = true;
                    });
  command.addParsed("--preset", "NAME", "Parameters for cameras of a kind: steady or flickering",
                    [this](const std::string& text) { preset = parsePreset(text); });
  command.addTexts("--params", paramsFiles, "FILE", "Set parameters from a file; may be repeated");
  command.addTexts("--param", params, "SECTION.NAME=VALUE", "Set a parameter of the tracker; may be repeated");
}

std::vector<Setting> TrackerOptions::settings() const {
  std::vector<Setting> all;
  if (!preset.empty()) {
    for (const auto& [key, value] : presetParameters(preset, choice.selector)) all.push_back({key, value});
  }
  for (Setting& each : collectSettings(paramsFiles, params)) all.push_back(std::move(each));
  return all;
}

TrackerRecipe TrackerOptions::recipe(std::ostream& err) const {
  TrackerRecipe recipe(choice, settings());
  err << recipe.warnings();
  return recipe;
}

void addTrackingOptions(Command& command, AnswerOptions& options) {
  command.addEachParsed("--associate", "LABEL=LABEL,...", "Detections that tracks of a label take; may be repeated",
                        [&options](const std::string& text) {
                          const auto [label, taken] = parseAssignment("--associate", text);
                          for (const std::string& each : parseList("--associate", taken)) {
                            options.associations[label].insert(each);
                          }
                        });
  command.addParsed("--labels", "LABEL,...", "Labels that associate with themselves",
                    [&options](const std::string& text) { options.labels = parseList("--labels", text); });
  command.addParsed("--stabilise", "MODE", "Estimate how cameras move that don't tell it: auto (if not given) or off",
                    [&options](const std::string& text) { options.stabilise = parseStabilise(text); });
  command.addNumber("--max-detections", options.mostDetections, kDetectionCounts, "N",
                    "Refuse frames with more detections");
  ReportOptions& report = options.report;
  command.addParsed("--report", "TRACKS", "all, confident or settled; in files settled, in streams all if not given",
                    [&report](const std::string& text) { report.tracks = parseReportedTracks("--report", text); });
  command.addParsed("--hold", "TIME", "How long after its last detection a track is told, or always; in files 0.1",
                    [&report](const std::string& text) {
                      report.hold = text == "always" ? ReportPolicy::kAlways : parseTime("--hold", text);
                    });
  command.addParsed("--boxes", "KIND", "smoothed or detected; in files detected, in streams smoothed if not given",
                    [&report](const std::string& text) { report.boxes = parseReportedBoxes("--boxes", text); });
}

void addAnswerOptions(Command& command, AnswerOptions& options) {
  addTrackingOptions(command, options);
  command.addFlag("--debug", options.debug, "Add the inner state of the tracks");
}

CLI::Option* OutputOptions::addTo(Command& command, const char* kind, const std::string& help) {
  command.addFlag("--force", replaces, "Replace files that exist already");
  return command.addText("-o,--output", path, kind, help);
}

}  // namespace nivra::tool
