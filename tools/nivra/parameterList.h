#pragma once

#include <string>
#include <vector>

#include "nivra/parameterTables.h"

namespace nivra::tool {

/// The defaults with their explanations as comments: what --params takes.
std::string listAsText(const std::vector<ParameterSection>& sections);

/// A page with a table for each section.
std::string listAsMarkdown(const std::vector<ParameterSection>& sections);

/// An array with an object for each parameter.
std::string listAsJson(const std::vector<ParameterSection>& sections);

}  // namespace nivra::tool
