#pragma once

#include <ostream>

namespace nivra::tool {

/// The whole command.
/// @param terminal Where progress is shown; null if nobody would see it.
/// @param outIsTerminal Whether results in `out` and progress would stand among each other.
/// @return The exit code: 0, 1 when an input or output is at fault, 2 when the call is. Never throws.
int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err, std::ostream* terminal = nullptr,
        bool outIsTerminal = false);

}  // namespace nivra::tool
