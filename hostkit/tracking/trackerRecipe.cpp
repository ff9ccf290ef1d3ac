#include "hostkit/tracking/trackerRecipe.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "hostkit/errors.h"
#include "hostkit/text/suggestion.h"

namespace nivra::hostkit {

namespace {

/// Names like the one that there isn't, as the end of a sentence.
std::string likeNames(const std::string& key) {
  const auto dot = key.rfind('.');
  std::vector<std::string> known;
  for (const ParameterSection& section : parameterSections()) {
    if (section.name != key.substr(0, dot)) continue;
    for (const ParameterDescription& each : *section.table) known.emplace_back(each.name);
  }
  return suggestionFor(key.substr(dot + 1), known);
}

/// ln 0.7, to which the smoothed log-likelihood of a track falls that takes no detections any more.
constexpr float kLikelihoodOfTheUnseen = -0.35667497F;

bool keepsTracksForEver(const Setting& setting) {
  return setting.key.substr(setting.key.rfind('.') + 1) == "expirationLikelihoodThreshold" &&
         std::strtof(setting.value.c_str(), nullptr) <= kLikelihoodOfTheUnseen;
}

}  // namespace

TrackerChoice parseTrackerChoice(const std::string& text) {
  for (const TrackerChoice& each : kTrackers) {
    if (text == each.name || text == std::to_string(each.selector)) return each;
  }
  throw UsageError(fmt::format("--tracker {}: expected vanilla, reid, hybrid or lowfps, or 0 to 3", text));
}

std::string parsePreset(const std::string& text) {
  const std::vector<std::string> known = presetNames();
  if (std::find(known.begin(), known.end(), text) != known.end()) return text;
  throw UsageError(
      fmt::format("--preset {}: expected {}{}", text, fmt::join(known, " or "), suggestionFor(text, known)));
}

TrackerRecipe::TrackerRecipe(const TrackerChoice& trackerChoice, const std::vector<Setting>& settings)
    : choice(trackerChoice) {
  for (const Setting& setting : settings) take(setting);
}

std::unique_ptr<ObjectTracker> TrackerRecipe::make(const LabelAssociations& associations, float aspectRatio,
                                                   MotionTrackerServer* motionServer) const {
  return makeTracker(choice.selector, params, associations, aspectRatio, motionServer);
}

std::unique_ptr<ObjectTracker> TrackerRecipe::restore(const std::string& state, const LabelAssociations& associations,
                                                      float aspectRatio, MotionTrackerServer* motionServer) const {
  return restoreTracker(state, choice.selector, params, associations, aspectRatio, motionServer);
}

TrackerRecipe TrackerRecipe::with(const std::string& key, const std::string& value) const {
  TrackerRecipe other = *this;
  other.params[key] = value;
  return other;
}

void TrackerRecipe::take(const Setting& setting) {
  params[setting.key] = setting.value;
  for (const ParameterFault& fault : checkParameters(choice.selector, {{setting.key, setting.value}})) {
    using Kind = ParameterFault::Kind;
    if (fault.kind == Kind::unknownName) failAt(setting, fault.text + likeNames(setting.key));
    if (fault.kind == Kind::sectionNotRead) failAt(setting, fmt::format("not read by the tracker \"{}\"", choice.name));
    failAt(setting, fault.text);
  }
  if (keepsTracksForEver(setting)) {
    doubts += fmt::format("warning: {}={} keeps every track for ever: without detections, tracks come down to {}\n",
                          setting.key, setting.value, kLikelihoodOfTheUnseen);
  }
}

}  // namespace nivra::hostkit
