#pragma once

#include "format.h"

namespace nivra::tool {

/// Lines of JSON, one a frame, a movement or an end of a camera; docs/streams.md tells what they hold.
extern const Format kJsonLines;

}  // namespace nivra::tool
