#pragma once

#include <string>

#include "hostkit/explaining/explaining.h"

namespace nivra::hostkit {

/// Sentences.
std::string reportAsText(const Explanations& explanations);

/// One object, as docs/explanations.schema.json has it.
std::string reportAsJson(const Explanations& explanations);

}  // namespace nivra::hostkit
