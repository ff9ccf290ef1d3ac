#pragma once

#include <optional>
#include <string>
#include <vector>

#include "nivra/parameterMap.h"
#include "nivra/parameterTables.h"

namespace nivra::tool {

/// What is to be listed of some sections.
struct ParameterChoice {
  std::vector<ParameterSection> sections;
  std::optional<ParameterMap> preset = std::nullopt;  // if given, only what it sets
};

/// What a preset sets of the sections of all trackers.
ParameterMap presetOfAllTrackers(const std::string& name);

/// The values with their explanations as comments: what --params takes.
std::string listAsText(const ParameterChoice& choice);

/// A page with a table for each section, and one of presets; of all that the sections have.
std::string listAsMarkdown(const ParameterChoice& choice);

/// An array with an object for each parameter.
std::string listAsJson(const ParameterChoice& choice);

}  // namespace nivra::tool
