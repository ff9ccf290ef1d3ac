#pragma once

#include <string>

#include "hostkit/explaining/explaining.h"

namespace nivra::tool {

/// Sentences.
std::string reportAsText(const hostkit::Explanations& explanations);

/// One object, as docs/explanations.schema.json has it.
std::string reportAsJson(const hostkit::Explanations& explanations);

}  // namespace nivra::tool
