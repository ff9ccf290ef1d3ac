#pragma once

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "commandOptions.h"
#include "tracking.h"

namespace nivra::tool {

/// nivra track: declares its options, and runs when it was chosen.
class TrackCommand {
 public:
  explicit TrackCommand(CLI::App& app);

  /// @param terminal Where progress may be shown; null if nobody would see it.
  void runIfChosen(std::ostream& out, std::ostream& err, std::ostream* terminal);

 private:
  LabelAssociations associations() const;

  CLI::App& command;
  TrackOptions options;
  std::vector<std::string> inputs;
  std::string tracker = "vanilla";
  std::vector<std::string> paramsFiles;
  std::vector<std::string> params;
  std::string labels;
  std::vector<std::string> associationTexts;
  std::string idleTimeout;
  InputOptions inputOptions;
  OutputOptions outputOptions;
  bool quiet = false;
};

}  // namespace nivra::tool
