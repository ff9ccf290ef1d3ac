#include "hostkit/tracking/trackerRecipe.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "hostkit/errors.h"
#include "hostkit/text/suggestion.h"

namespace nivra::hostkit {

namespace {

/// The section's entry of that name; null if it has none.
const ParameterDescription* findParameter(const ParameterSection& section, std::string_view name) {
  const auto* const found = std::find_if(section.table->begin(), section.table->end(),
                                         [&](const ParameterDescription& each) { return each.name == name; });
  return found == section.table->end() ? nullptr : found;
}

/// The parameter that a setting is for.
const ParameterDescription& parameterOf(const Setting& setting, const TrackerChoice& tracker) {
  const std::string_view key = setting.key;
  const auto dot = key.rfind('.');
  if (dot == std::string_view::npos) failAt(setting, "expected section.name before the equals sign");
  for (const ParameterSection& section : parameterSections) {
    if (section.name != key.substr(0, dot)) continue;
    const ParameterDescription* const parameter = findParameter(section, key.substr(dot + 1));
    if (parameter == nullptr) {
      std::vector<std::string> known;
      for (const ParameterDescription& each : *section.table) known.emplace_back(each.name);
      const std::string_view name = key.substr(dot + 1);
      failAt(setting, fmt::format("{} has no parameter \"{}\"{}", section.name, name, suggestionFor(name, known)));
    }
    if (!readsSection(tracker, section)) failAt(setting, fmt::format("not read by the tracker \"{}\"", tracker.name));
    return *parameter;
  }
  failAt(setting, fmt::format("there is no section \"{}\"", key.substr(0, dot)));
}

bool isNumber(const std::string& text) {
  char* end = nullptr;
  std::strtod(text.c_str(), &end);
  return end != text.c_str() && trim(end).empty();
}

bool isCount(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// What is wrong with a value that the library takes although it is of another kind than the default: its conversions
/// stop at the first character that they don't understand, and would take "0.5x" for 0.5 and "1e9" for a count of 1.
std::string strayPart(const std::string& value, const std::string& defaultValue) {
  if (isCount(defaultValue)) return isCount(value) ? "" : "not a whole number from 0";
  const auto expected = split(defaultValue, ",");
  if (expected.empty() || !std::all_of(expected.begin(), expected.end(), isNumber)) return "";
  const auto found = split(value, ",");
  if (std::all_of(found.begin(), found.end(), isNumber) && found.size() == expected.size()) return "";
  return expected.size() == 1 ? "not a number" : fmt::format("not {} numbers with commas between", expected.size());
}

/// What is wrong with numbers that the library takes, although they cannot be meant.
std::string excess(const std::string& value, const ParameterRange& range) {
  if (!(range.least < range.most)) return "";
  for (const std::string& piece : split(value, ",")) {
    const double number = std::strtod(piece.c_str(), nullptr);
    if (!(number >= range.least && number <= range.most)) {
      return fmt::format("expected {} from {:g} to {:g}", value == piece ? "a number" : "numbers", range.least,
                         range.most);
    }
  }
  return "";
}

/// ln 0.7, to which the smoothed log-likelihood of a track falls that takes no detections any more.
constexpr float kLikelihoodOfTheUnseen = -0.35667497F;

bool keepsTracksForEver(const ParameterDescription& parameter, const std::string& value) {
  return parameter.name == std::string_view("expirationLikelihoodThreshold") &&
         std::strtof(value.c_str(), nullptr) <= kLikelihoodOfTheUnseen;
}

/// What the library has against a value; its conversions say no more than their own name.
std::string explain(const std::logic_error& refusal) {
  const std::string_view message = refusal.what();
  if (message.substr(0, 3) != "sto") return refusal.what();
  return dynamic_cast<const std::out_of_range*>(&refusal) != nullptr ? "number out of range" : "not a number";
}

}  // namespace

TrackerChoice parseTrackerChoice(const std::string& text) {
  for (const TrackerChoice& each : kTrackers) {
    if (text == each.name || text == std::to_string(each.selector)) return each;
  }
  throw UsageError(fmt::format("--tracker {}: expected vanilla, reid, hybrid or lowfps, or 0 to 3", text));
}

bool readsSection(const TrackerChoice& tracker, const ParameterSection& section) {
  const ParameterDescription& any = *section.table->begin();
  try {
    makeTracker(tracker.selector, {{fmt::format("{}.{}", section.name, any.name), any.defaultValue}}, {}, 1.0F);
    return true;
  } catch (const std::invalid_argument&) {  // a default is refused for nothing but its section
    return false;
  }
}

TrackerRecipe::TrackerRecipe(const TrackerChoice& trackerChoice, const std::vector<Setting>& settings)
    : choice(trackerChoice) {
  for (const Setting& setting : settings) take(setting);
}

std::unique_ptr<ObjectTracker> TrackerRecipe::make(const LabelAssociations& associations, float aspectRatio,
                                                   MotionTrackerServer* motionServer) const {
  return makeTracker(choice.selector, params, associations, aspectRatio, motionServer);
}

/// The library's message doesn't tell which parameter it is about, so each is tried as soon as it is known. What was
/// taken before is in order, even where values depend on each other.
void TrackerRecipe::take(const Setting& setting) {
  const ParameterDescription& parameter = parameterOf(setting, choice);
  params[setting.key] = setting.value;
  try {
    make({}, 1.0F, nullptr);
  } catch (const std::logic_error& refusal) {
    failAt(setting, explain(refusal));
  }
  std::string fault = strayPart(setting.value, parameter.defaultValue);
  if (fault.empty()) fault = excess(setting.value, parameter.range);
  if (!fault.empty()) failAt(setting, fault);
  if (keepsTracksForEver(parameter, setting.value)) {
    doubts += fmt::format("warning: {}={} keeps every track for ever: without detections, tracks come down to {}\n",
                          setting.key, setting.value, kLikelihoodOfTheUnseen);
  }
}

}  // namespace nivra::hostkit
