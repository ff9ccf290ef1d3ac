#include "parameterList.h"

#include <fmt/format.h>

#include <algorithm>
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
beyond the range; the library takes them for what they are worth, and `checkParameters` finds them. Good values usually
lie within the narrower range of the last column.

A picture unit is half the picture's width or height: coordinates go from -1 to 1 on both axes.

Trackers refuse parameters of sections that they don't read:

)";

constexpr char kTableHead[] = R"(
| name | default | unit | meaning | a larger value | range | usually |
|---|---|---|---|---|---|---|
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

bool hasRanges(const ParameterDescription& parameter) { return parameter.kind != ParameterKind::classList; }

std::string text(const ParameterRange& range) { return fmt::format("from {:g} to {:g}", range.least, range.most); }

const char* text(ParameterScale scale) { return scale == ParameterScale::linear ? "linear" : "logarithmic"; }

const char* text(ParameterKind kind) {
  switch (kind) {
    case ParameterKind::number:
      return "number";
    case ParameterKind::count:
      return "count";
    case ParameterKind::flag:
      return "flag";
    case ParameterKind::numberPair:
      return "number pair";
    case ParameterKind::classList:
      return "class list";
  }
  return "";
}

bool readsSection(const TrackerChoice& tracker, const ParameterSection& section) {
  const std::vector<ParameterSection> sections = sectionsOf(tracker.selector);
  return std::any_of(sections.begin(), sections.end(),
                     [&](const ParameterSection& each) { return each.name == std::string_view(section.name); });
}

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
    for (const ParameterDescription& each : *section.table) {
      const char* const gap = *each.unit == '\0' ? "" : "  # ";
      fmt::format_to(std::back_inserter(list), "{}.{} = {}{}{}\n    # {}\n    # larger: {}\n{}", section.name,
                     each.name, each.defaultValue, gap, each.unit, each.meaning, each.pull,
                     hasRanges(each) ? fmt::format("    # {}, usually {}\n", text(each.range), text(each.usual)) : "");
    }
  }
  return list;
}

std::string listAsMarkdown(const std::vector<ParameterSection>& sections) {
  std::string page = kIntroduction + tableOfReaders(sections);
  for (const ParameterSection& section : sections) {
    page += fmt::format("\n## {}\n{}", section.name, kTableHead);
    for (const ParameterDescription& each : *section.table) {
      const std::string shownDefault = *each.defaultValue == '\0' ? "*empty*" : escaped(each.defaultValue);
      fmt::format_to(std::back_inserter(page), "| `{}` | {} | {} | {} | {} | {} | {} |\n", each.name, shownDefault,
                     escaped(each.unit), escaped(each.meaning), escaped(each.pull),
                     hasRanges(each) ? text(each.range) : "", hasRanges(each) ? text(each.usual) : "");
    }
  }
  return page;
}

std::string listAsJson(const std::vector<ParameterSection>& sections) {
  TextBuffer json;
  for (const ParameterSection& section : sections) {
    for (const ParameterDescription& each : *section.table) {
      json += json.empty() ? '[' : ',';
      appendField(json, "\n{\"section\":", section.name, appendQuoted);
      appendField(json, ",\"name\":", each.name, appendQuoted);
      appendField(json, ",\"key\":", fmt::format("{}.{}", section.name, each.name), appendQuoted);
      appendField(json, ",\"kind\":", text(each.kind), appendQuoted);
      appendField(json, ",\"default\":", each.defaultValue, appendQuoted);
      appendField(json, ",\"unit\":", each.unit, appendQuoted);
      appendField(json, ",\"meaning\":", each.meaning, appendQuoted);
      appendField(json, ",\"pull\":", each.pull, appendQuoted);
      if (hasRanges(each)) {
        json += fmt::format(R"(,"least":{},"most":{},"usualLeast":{},"usualMost":{})", each.range.least,
                            each.range.most, each.usual.least, each.usual.most);
        appendField(json, ",\"scale\":", text(each.scale), appendQuoted);
      }
      json += '}';
    }
  }
  json += "]\n";
  return std::string(json.view());
}

}  // namespace nivra::tool
