#pragma once

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "commandOptions.h"
#include "format.h"

namespace nivra::tool {

/// nivra convert: declares its options, and runs when it was chosen.
class ConvertCommand {
 public:
  explicit ConvertCommand(CLI::App& app);

  void runIfChosen(std::ostream& out);

 private:
  CLI::App& command;
  std::string input;
  std::string to = "jsonl";
  InputOptions inputOptions;
  OutputOptions outputOptions;
};

}  // namespace nivra::tool
