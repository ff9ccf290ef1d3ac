#pragma once

#include <vector>

#include "commands.h"

namespace nivra::tool {

/// A command-line tool: what it is called and which commands it has.
struct Program {
  const char* name;
  const char* about;
  std::vector<void (*)(CLI::App& app, const Streams& streams)> commands;
};

/// All of nivra.
extern const Program kNivra;

/// The whole command.
/// @return The exit code: 0, 1 when an input or output is at fault, 2 when the call is. Never throws.
int run(const Program& program, int argc, const char* const* argv, const Streams& streams);

/// The process around it, on its standard streams: for main functions to return.
int runProcess(const Program& program, int argc, const char* const* argv);

}  // namespace nivra::tool
