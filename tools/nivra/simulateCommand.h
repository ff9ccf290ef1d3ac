#pragma once

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>

#include "commandOptions.h"
#include "simulation.h"

namespace nivra::tool {

/// nivra simulate: declares its options, and runs when it was chosen.
class SimulateCommand {
 public:
  explicit SimulateCommand(CLI::App& app);

  void runIfChosen(std::ostream& out);

 private:
  CLI::App& command;
  SimulationOptions options;
  std::string seed = "1";
  std::string frames = "300";
  std::string people = "10";
  std::string vehicles = "0";
  std::string reentries = "0";
  std::string pan = "0";
  std::string drop = "0";
  std::string featureLength = "16";
  std::string format = "motchallenge";
  PictureOptions pictureOptions = {"1280x720", "25"};
  OutputOptions outputOptions;
};

}  // namespace nivra::tool
