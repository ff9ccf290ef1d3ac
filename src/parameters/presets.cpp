#include "nivra/presets.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "nivra/parameterTables.h"
#include "parameters/parameterNames.h"

namespace nivra {

namespace {

struct PresetValue {
  const char* section;
  const char* name;
  const char* value;
};

/// Values of all trackers; each takes those of its own sections.
struct Preset {
  const char* name;
  const PresetValue* first;
  std::size_t count;
};

constexpr PresetValue kSteady[] = {
    {names::kVanillaSection, "widthFactorGating", "0.6"},
    {names::kVanillaSection, "heightFactorGating", "0.25"},
    {names::kVanillaSection, "expirationLikelihoodThreshold", "-0.15"},
    {names::kVanillaKalmanSection, "processNoiseVariance", "0.1"},
    {names::kVanillaLowFpsSection, "heightRelativeDiffGating", "0.5"},
    {names::kVanillaLowFpsSection, "confidentLikelihoodThreshold", "1.5"},
    {names::kReidSection, "maxIouDistance", "0.7"},
    {names::kReidSection, "minTimeBeforeConfident", "200000000"},
    {names::kReidSection, "minTimeBeforeConfidentId", "1000000000"},
    {names::kReidSection, "inactiveAge", "3000000000"},
};

constexpr PresetValue kFlickering[] = {
    {names::kVanillaSection, "widthFactorGating", "0.6"},
    {names::kVanillaSection, "heightFactorGating", "0.25"},
    {names::kVanillaSection, "expirationLikelihoodThreshold", "-0.3"},
    {names::kVanillaSection, "confidentLikelihoodThreshold", "2"},
    {names::kVanillaKalmanSection, "processNoiseVariance", "0.5"},
    {names::kVanillaLowFpsSection, "heightRelativeDiffGating", "0.5"},
    {names::kVanillaLowFpsSection, "expirationLikelihoodThreshold", "-0.3"},
    {names::kVanillaLowFpsSection, "confidentLikelihoodThreshold", "1.5"},
    {names::kReidSection, "maxFeatureDistance", "0.5"},
    {names::kReidSection, "maxIouDistance", "0.7"},
    {names::kReidSection, "minTimeBeforeConfident", "50000000"},
    {names::kReidSection, "minTimeBeforeConfidentId", "1000000000"},
    {names::kReidSection, "maxConfidentAge", "1000000000"},
    {names::kReidSection, "inactiveAge", "5000000000"},
    {names::kReidKalman4DSection, "processFactor", "16"},
    {names::kReidKalman4DSection, "mahalanobisLimit", "6"},
};

constexpr Preset kPresets[] = {{"steady", kSteady, std::size(kSteady)},
                               {"flickering", kFlickering, std::size(kFlickering)}};

bool reads(int selector, const std::string& section) {
  const std::vector<ParameterSection> sections = sectionsOf(selector);
  return std::any_of(sections.begin(), sections.end(),
                     [&](const ParameterSection& each) { return each.name == section; });
}

}  // namespace

std::vector<std::string> presetNames() {
  std::vector<std::string> names;
  for (const Preset& each : kPresets) names.emplace_back(each.name);
  return names;
}

ParameterMap presetParameters(const std::string& name, int selector) {
  const auto preset =
      std::find_if(std::begin(kPresets), std::end(kPresets), [&](const Preset& each) { return each.name == name; });
  if (preset == std::end(kPresets)) throw std::invalid_argument("There is no preset \"" + name + '"');
  ParameterMap params;
  for (std::size_t i = 0; i < preset->count; ++i) {
    const auto& [section, parameter, value] = preset->first[i];
    if (reads(selector, section)) params.emplace(std::string(section) + '.' + parameter, value);
  }
  return params;
}

}  // namespace nivra
