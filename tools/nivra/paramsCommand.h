#pragma once

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "nivra/parameterTables.h"

namespace nivra::tool {

/// nivra params: declares its options, and runs when it was chosen.
class ParamsCommand {
 public:
  explicit ParamsCommand(CLI::App& app);

  void runIfChosen(std::ostream& out);

 private:
  std::vector<ParameterSection> sections() const;

  CLI::App& command;
  std::string tracker;
  bool asMarkdown = false;
  bool asJson = false;
};

}  // namespace nivra::tool
