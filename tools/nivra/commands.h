#pragma once

#include <ostream>

namespace CLI {
class App;
}

namespace nivra::tool {

/// Whom the commands speak to.
struct Streams {
  std::ostream& out;
  std::ostream& err;
  std::ostream* terminal = nullptr;  // where progress is shown; null if nobody would see it
  bool outIsTerminal = false;        // results and progress would stand among each other
};

/// Each declares a command, which runs as the last step of parsing if it was chosen.
void addTrackCommand(CLI::App& app, const Streams& streams);
void addConvertCommand(CLI::App& app, const Streams& streams);
void addEvalCommand(CLI::App& app, const Streams& streams);
void addPlotCommand(CLI::App& app, const Streams& streams);
void addReplayCommand(CLI::App& app, const Streams& streams);
void addTuneCommand(CLI::App& app, const Streams& streams);
void addSimulateCommand(CLI::App& app, const Streams& streams);
void addParamsCommand(CLI::App& app, const Streams& streams);
void addExplainCommand(CLI::App& app, const Streams& streams);

}  // namespace nivra::tool
