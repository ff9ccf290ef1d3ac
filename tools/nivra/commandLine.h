#pragma once

#include <ostream>

namespace nivra::tool {

/// The whole command.
/// @param terminal Where progress is shown; null if nobody would see it.
/// @return The exit code: 0, 1 when an input or output is at fault, 2 when the call is. Never throws.
int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err, std::ostream* terminal = nullptr);

}  // namespace nivra::tool
