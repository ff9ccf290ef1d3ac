#include "parameterList.h"

#include <fmt/format.h>

#include <iterator>
#include <string_view>

#include "hostkit/text/jsonText.h"
#include "hostkit/tracking/trackerRecipe.h"

namespace nivra::tool {

using namespace hostkit;

namespace {

constexpr char kIntroduction[] = R"(# Parameters

This page is made by `nivra params --markdown` from the tables that the library takes its defaults from.

A parameter's key is its section, a dot and its name. The tool takes `--param vanilla.scoreAbsorption=0.1`, or a file
of such lines by `--params FILE`; `nivra params --tracker NAME` prints one with all defaults of a tracker. A host of
the library hands `makeTracker` a map from keys to values. What is not given keeps its default. The tool refuses values
beyond the range; the library takes them for what they are worth.

A picture unit is half the picture's width or height: coordinates go from -1 to 1 on both axes.

Trackers refuse parameters of sections that they don't read:

)";

constexpr char kTableHead[] = R"(
| name | default | unit | meaning | a larger value | range |
|---|---|---|---|---|---|
)";

/// Text as it is, without a meaning to Markdown and its tables.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char each : text) {
    if (std::string_view(R"(\`*_[]<>|&~)").find(each) != std::string_view::npos) result += '\\';
    result += each;
  }
  return result;
}

bool hasNumbers(const ParameterRange& range) { return range.least < range.most; }

std::string text(const ParameterRange& range) { return fmt::format("from {:g} to {:g}", range.least, range.most); }

std::string tableOfReaders(const std::vector<ParameterSection>& sections) {
  std::string head = "| section |";
  std::string line = "|---|";
  for (const TrackerChoice& tracker : kTrackers) {
    head += fmt::format(" {} |", tracker.name);
    line += "---|";
  }
  std::string table = head + '\n' + line + '\n';
  for (const ParameterSection& section : sections) {
    table += fmt::format("| `{}` |", section.name);
    for (const TrackerChoice& tracker : kTrackers) table += readsSection(tracker, section) ? " reads |" : " |";
    table += '\n';
  }
  return table;
}

}  // namespace

std::string listAsText(const std::vector<ParameterSection>& sections) {
  std::string list;
  for (const ParameterSection& section : sections) {
    for (const auto& [name, defaultValue, unit, meaning, pull, range] : *section.table) {
      const char* const gap = *unit == '\0' ? "" : "  # ";
      fmt::format_to(std::back_inserter(list), "{}.{} = {}{}{}\n    # {}\n    # larger: {}\n{}", section.name, name,
                     defaultValue, gap, unit, meaning, pull,
                     hasNumbers(range) ? fmt::format("    # {}\n", text(range)) : "");
    }
  }
  return list;
}

std::string listAsMarkdown(const std::vector<ParameterSection>& sections) {
  std::string page = kIntroduction + tableOfReaders(sections);
  for (const ParameterSection& section : sections) {
    page += fmt::format("\n## {}\n{}", section.name, kTableHead);
    for (const auto& [name, defaultValue, unit, meaning, pull, range] : *section.table) {
      const std::string shownDefault = *defaultValue == '\0' ? "*empty*" : escaped(defaultValue);
      fmt::format_to(std::back_inserter(page), "| `{}` | {} | {} | {} | {} | {} |\n", name, shownDefault, escaped(unit),
                     escaped(meaning), escaped(pull), hasNumbers(range) ? text(range) : "");
    }
  }
  return page;
}

std::string listAsJson(const std::vector<ParameterSection>& sections) {
  std::string json;
  for (const ParameterSection& section : sections) {
    for (const auto& [name, defaultValue, unit, meaning, pull, range] : *section.table) {
      json += json.empty() ? '[' : ',';
      appendField(json, "\n{\"section\":", section.name, appendQuoted);
      appendField(json, ",\"name\":", name, appendQuoted);
      appendField(json, ",\"key\":", fmt::format("{}.{}", section.name, name), appendQuoted);
      appendField(json, ",\"default\":", defaultValue, appendQuoted);
      appendField(json, ",\"unit\":", unit, appendQuoted);
      appendField(json, ",\"meaning\":", meaning, appendQuoted);
      appendField(json, ",\"pull\":", pull, appendQuoted);
      if (hasNumbers(range)) json += fmt::format(",\"least\":{},\"most\":{}", range.least, range.most);
      json += '}';
    }
  }
  return json + "]\n";
}

}  // namespace nivra::tool
