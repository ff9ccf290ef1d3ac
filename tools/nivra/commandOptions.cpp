#include "commandOptions.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "formats.h"
#include "keyValues.h"

namespace nivra::tool {

namespace {

constexpr Range<int> kCategories = {0, std::numeric_limits<int>::max()};

std::string complaintAboutEmpty(const std::string& argument) { return argument.empty() ? "must not be empty" : ""; }

}  // namespace

CLI::Option* addText(CLI::App& command, const std::string& name, std::string& text, const std::string& help) {
  return command.add_option(name, text, help)->check(complaintAboutEmpty);
}

CLI::Option* addTexts(CLI::App& command, const std::string& name, std::vector<std::string>& texts,
                      const std::string& help) {
  return command.add_option(name, texts, help)->check(complaintAboutEmpty)->allow_extra_args(false);
}

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

void PictureOptions::addTo(CLI::App& command, const std::string& instead) {
  addText(command, "--picture", pictureText, "Size of the picture in pixels" + instead)
      ->type_name("WxH")
      ->default_str(pictureText);
  addText(command, "--fps", frameRateText, "Frames per second" + instead)->type_name("F")->default_str(frameRateText);
}

std::optional<PictureSize> PictureOptions::picture() const {
  if (pictureText.empty()) return std::nullopt;
  const auto cross = pictureText.find('x');
  const auto width = parseNumber(pictureText.substr(0, cross), kPictureSides);
  const auto height =
      cross == std::string::npos ? std::nullopt : parseNumber(pictureText.substr(cross + 1), kPictureSides);
  if (!width || !height) {
    throw UsageError(fmt::format("--picture {}: expected WIDTHxHEIGHT in pixels, such as 1920x1080", pictureText));
  }
  return PictureSize{*width, *height};
}

std::optional<double> PictureOptions::frameRate() const {
  if (frameRateText.empty()) return std::nullopt;
  return parseOption("--fps", frameRateText, kFrameRates);
}

void InputOptions::addTo(CLI::App& command) {
  addText(command, "--from", from, "Format of the input, told from what it holds if not given: " + formatNames())
      ->type_name("FORMAT");
  addText(command, "--label", label, "Label of detections without one")->type_name("LABEL")->capture_default_str();
  addTexts(command, "--category", categories, "Label of a COCO category, its number if not given; may be repeated")
      ->type_name("NUMBER=LABEL");
  pictureOptions.addTo(command, ", if the input doesn't tell");
}

ReadSettings InputOptions::settings() const {
  ReadSettings settings;
  settings.picture = pictureOptions.picture();
  settings.frameRate = pictureOptions.frameRate();
  settings.label = label;
  for (const std::string& text : categories) {
    const auto [number, categoryLabel] = parseAssignment("--category", text);
    settings.categories[parseOption("--category", number, kCategories)] = categoryLabel;
  }
  return settings;
}

const Format& InputOptions::formatOf(const std::string& input) const {
  return from.empty() ? recogniseFormat(input) : formatNamed("--from", from);
}

CLI::Option* OutputOptions::addTo(CLI::App& command, const std::string& help, const std::string& kind) {
  command.add_flag("--force", replaces, "Replace files that exist already");
  return addText(command, "-o,--output", path, help)->type_name(kind);
}

}  // namespace nivra::tool
