#include "parameters.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "errors.h"

namespace nivra::tool {

namespace {

constexpr std::array<const char*, 4> kTrackerNames = {"vanilla", "reid", "hybrid", "lowfps"};

/// An argument of --param.
struct Setting {
  std::string key;
  std::string value;

  std::string section() const { return key.substr(0, key.rfind('.')); }
  std::string name() const { return key.substr(key.rfind('.') + 1); }
};

[[noreturn]] void failAt(const Setting& setting, const std::string& what) {
  throw UsageError(fmt::format("--param {}={}: {}", setting.key, setting.value, what));
}

Setting parseSetting(const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw UsageError(fmt::format("--param {}: expected section.name=value", text));
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

bool isNumberThroughout(const std::string& text) {
  char* end = nullptr;
  std::strtod(text.c_str(), &end);
  return end != text.c_str() && trim(end).empty();
}

/// Whether the value is for a number and starts like one, but does not end there: the library's conversions would
/// take "0.5x" for 0.5.
bool hasStrayEnd(const Setting& setting) {
  for (const auto& [section, table] : parameterSections) {
    if (section != setting.section()) continue;
    for (const ParameterDescription& entry : *table) {
      if (entry.name == setting.name())
        return isNumberThroughout(entry.defaultValue) && !isNumberThroughout(setting.value);
    }
  }
  return false;
}

bool startsWith(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

/// What is wrong with a setting that the library refused; the conversions say no more than their own name.
std::string explain(const std::logic_error& refusal, const Setting& setting, const TrackerChoice& choice) {
  const std::string_view message = refusal.what();
  if (startsWith(message, "Unused")) return fmt::format("not read by the tracker \"{}\"", choice.name);
  if (startsWith(message, "Bad parameter")) {
    return fmt::format("{} has no parameter \"{}\"", setting.section(), setting.name());
  }
  if (!startsWith(message, "sto")) return refusal.what();
  return dynamic_cast<const std::out_of_range*>(&refusal) != nullptr ? "number out of range" : "not a number";
}

/// Stops if the library refuses this setting when it is given alone: its own message may not tell which one it was.
void check(const Setting& setting, const TrackerChoice& choice) {
  try {
    makeTracker(choice.selector, {{setting.key, setting.value}}, {}, 1.0F);
  } catch (const std::invalid_argument& refusal) {
    failAt(setting, explain(refusal, setting, choice));
  } catch (const std::out_of_range& refusal) {
    failAt(setting, explain(refusal, setting, choice));
  }
  if (hasStrayEnd(setting)) failAt(setting, "not a number");
}

}  // namespace

TrackerChoice parseTrackerChoice(const std::string& text) {
  for (std::size_t selector = 0; selector < kTrackerNames.size(); ++selector) {
    const char* const name = kTrackerNames[selector];
    if (text == name || text == std::to_string(selector)) return {name, static_cast<int>(selector)};
  }
  throw UsageError(fmt::format("--tracker {}: expected vanilla, reid, hybrid or lowfps, or 0 to 3", text));
}

std::unique_ptr<ObjectTracker> createTracker(const TrackerChoice& choice, const std::vector<std::string>& settings,
                                             const LabelAssociations& associations, float aspectRatio) {
  try {
    ParameterMap params;
    for (const std::string& text : settings) {
      const Setting setting = parseSetting(text);
      check(setting, choice);
      params[setting.key] = setting.value;
    }
    return makeTracker(choice.selector, params, associations, aspectRatio);
  } catch (const std::invalid_argument& refusal) {
    throw UsageError(fmt::format("--param: {}", refusal.what()));
  } catch (const std::out_of_range& refusal) {
    throw UsageError(fmt::format("--param: {}", refusal.what()));
  }
}

std::string listParameters() {
  std::string list;
  for (const auto& [section, table] : parameterSections) {
    for (const auto& [name, defaultValue, unit, meaning, pull] : *table) {
      const char* const gap = *unit == '\0' ? "" : "  ";
      fmt::format_to(std::back_inserter(list), "{}.{}={}{}{}\n    {}\n    larger: {}\n", section, name, defaultValue,
                     gap, unit, meaning, pull);
    }
  }
  return list;
}

}  // namespace nivra::tool
