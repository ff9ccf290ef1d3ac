#pragma once

#include "nivra/parameterTables.h"

namespace nivra::hostkit {

/// As lists of parameters call it, such as "number pair".
const char* nameOf(ParameterKind kind);
const char* nameOf(ParameterScale scale);

}  // namespace nivra::hostkit
