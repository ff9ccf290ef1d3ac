#include "parameterList.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "hostkit/text/jsonText.h"
#include "hostkit/tracking/parameterNames.h"
#include "hostkit/tracking/trackerRecipe.h"
#include "nivra/presets.h"

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

constexpr char kPresets[] = R"(
## Presets

`--preset NAME` sets some of them at once, for cameras of a kind, and in a host `presetParameters`: `steady` is for
cameras that stand and detectors that seldom miss anybody, `flickering` for detectors that often lose people for some
frames, and for cameras that move. What is not set keeps its default; `--params` and `--param` go on top.

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

std::string keyOf(const ParameterSection& section, const ParameterDescription& parameter) {
  return fmt::format("{}.{}", section.name, parameter.name);
}

/// Calls `tell(section, parameter, value)` for what is to be listed; values are those of the preset, or the defaults.
template <class Tell>
void forEachParameter(const ParameterChoice& choice, Tell tell) {
  for (const ParameterSection& section : choice.sections) {
    for (const ParameterDescription& each : *section.table) {
      if (!choice.preset) {
        tell(section, each, std::string(each.defaultValue));
        continue;
      }
      const auto set = choice.preset->find(keyOf(section, each));
      if (set != choice.preset->end()) tell(section, each, set->second);
    }
  }
}

/// A row for each parameter of the sections that any preset sets.
std::string tableOfPresets(const std::vector<ParameterSection>& sections) {
  const std::vector<std::string> names = presetNames();
  std::vector<ParameterMap> presets;
  for (const std::string& name : names) presets.push_back(presetOfAllTrackers(name));
  std::string table = fmt::format("| parameter | default | {} |\n|---|---|", fmt::join(names, " | "));
  for (std::size_t i = 0; i < presets.size(); ++i) table += "---|";
  table += '\n';
  for (const ParameterSection& section : sections) {
    for (const ParameterDescription& each : *section.table) {
      std::vector<std::string> cells;
      for (const ParameterMap& preset : presets) {
        const auto set = preset.find(keyOf(section, each));
        cells.push_back(set == preset.end() ? "" : set->second);
      }
      if (std::all_of(cells.begin(), cells.end(), [](const std::string& cell) { return cell.empty(); })) continue;
      table += fmt::format("| `{}` | {} | {} |\n", keyOf(section, each), each.defaultValue, fmt::join(cells, " | "));
    }
  }
  return table;
}

}  // namespace

ParameterMap presetOfAllTrackers(const std::string& name) {
  ParameterMap all;
  for (const TrackerChoice& tracker : kTrackers) all.merge(presetParameters(name, tracker.selector));
  return all;
}

std::string listAsText(const ParameterChoice& choice) {
  std::string list;
  forEachParameter(choice, [&](const auto& section, const ParameterDescription& each, const std::string& value) {
    std::vector<std::string> remarks;
    if (*each.unit != '\0') remarks.emplace_back(each.unit);
    if (choice.preset) remarks.push_back(fmt::format("{} by default", each.defaultValue));
    fmt::format_to(std::back_inserter(list), "{} = {}{}{}\n    # {}\n    # larger: {}\n{}", keyOf(section, each), value,
                   remarks.empty() ? "" : "  # ", fmt::join(remarks, ", "), each.meaning, each.pull,
                   hasRanges(each) ? fmt::format("    # {}, usually {}\n", text(each.range), text(each.usual)) : "");
  });
  return list;
}

std::string listAsMarkdown(const ParameterChoice& choice) {
  std::string page = kIntroduction + tableOfReaders(choice.sections) + kPresets + tableOfPresets(choice.sections);
  for (const ParameterSection& section : choice.sections) {
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

std::string listAsJson(const ParameterChoice& choice) {
  TextBuffer json;
  forEachParameter(choice, [&](const auto& section, const ParameterDescription& each, const std::string& value) {
    json += json.empty() ? '[' : ',';
    appendField(json, "\n{\"section\":", section.name, appendQuoted);
    appendField(json, ",\"name\":", each.name, appendQuoted);
    appendField(json, ",\"key\":", keyOf(section, each), appendQuoted);
    appendField(json, ",\"kind\":", nameOf(each.kind), appendQuoted);
    appendField(json, ",\"default\":", each.defaultValue, appendQuoted);
    if (choice.preset) appendField(json, ",\"value\":", value, appendQuoted);
    appendField(json, ",\"unit\":", each.unit, appendQuoted);
    appendField(json, ",\"meaning\":", each.meaning, appendQuoted);
    appendField(json, ",\"pull\":", each.pull, appendQuoted);
    if (hasRanges(each)) {
      json += fmt::format(R"(,"least":{},"most":{},"usualLeast":{},"usualMost":{})", each.range.least, each.range.most,
                          each.usual.least, each.usual.most);
      appendField(json, ",\"scale\":", nameOf(each.scale), appendQuoted);
    }
    json += '}';
  });
  json += json.empty() ? "[]\n" : "]\n";
  return std::string(json.view());
}

}  // namespace nivra::tool
