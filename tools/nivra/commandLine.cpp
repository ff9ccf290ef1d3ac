#include "commandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <exception>
#include <limits>
#include <sstream>
#include <string>

#include "commandOptions.h"
#include "convertCommand.h"
#include "errors.h"
#include "numbers.h"
#include "output.h"
#include "parameters.h"
#include "simulation.h"
#include "trackCommand.h"

namespace nivra::tool {

namespace {

constexpr char kAbout[] = "Follows objects through the detections of a camera: nivra COMMAND --help says more.";

constexpr char kSimulateHelp[] = R"(Writes seqinfo.ini, det/det.txt, their appearance features det/feat.bin and the
truth, gt/gt.txt, into FOLDER. Some people vanish behind a kiosk for a while. The
same options give the same bytes everywhere.

Example
      nivra simulate -o crowd --people 40 --seed 7 && nivra track crowd -o crowd.txt)";

class SimulateCommand {
 public:
  explicit SimulateCommand(CLI::App& app)
      : command(*app.add_subcommand("simulate", "Make up a sequence: people cross a plaza, a detector watches them")) {
    addText(command, "-o,--output", options.folder, "Where the sequence goes")->required()->type_name("FOLDER");
    addText(command, "--seed", seed, "Another number gives other people")->type_name("N")->capture_default_str();
    addText(command, "--frames", frames, "Length of the sequence")->type_name("N")->capture_default_str();
    addText(command, "--people", people, "How many cross the plaza")->type_name("N")->capture_default_str();
    pictureOptions.addTo(command, "");
    command.footer(kSimulateHelp);
  }

  void runIfChosen() {
    if (!command.parsed()) return;
    options.seed = parseOption("--seed", seed, Range<std::uint64_t>{0, std::numeric_limits<std::uint64_t>::max()});
    options.frames = parseOption("--frames", frames, kFrameCounts);
    options.people = parseOption("--people", people, Range<int>{1, 1000});
    options.picture = *pictureOptions.picture();
    options.frameRate = *pictureOptions.frameRate();
    simulate(options);
  }

 private:
  CLI::App& command;
  SimulationOptions options;
  std::string seed = "1";
  std::string frames = "300";
  std::string people = "10";
  PictureOptions pictureOptions = {"1280x720", "25"};
};

void print(const std::string& text, std::ostream& out) {
  const auto output = openOutput({out});
  output->write(text);
  output->finish();
}

/// Finds out what was asked for, and does it.
void dispatch(int argc, const char* const* argv, std::ostream& out, std::ostream& err, std::ostream* terminal) {
  CLI::App app(kAbout, "nivra");
  app.set_version_flag("--version",
                       fmt::format("nivra {}.{}.{}", NIVRA_VERSION_MAJOR, NIVRA_VERSION_MINOR, NIVRA_VERSION_PATCH));
  app.require_subcommand(1);
  TrackCommand trackCommand(app);
  ConvertCommand convertCommand(app);
  SimulateCommand simulateCommand(app);
  const CLI::App* const parameters = app.add_subcommand("parameters", "List the parameters of all trackers");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& fault) {
    if (fault.get_exit_code() != 0) throw UsageError(fault.what());
    std::ostringstream help;
    app.exit(fault, help, err);
    print(help.str(), out);
    return;
  }
  trackCommand.runIfChosen(out, err, terminal);
  convertCommand.runIfChosen(out);
  simulateCommand.runIfChosen();
  if (parameters->parsed()) print(listParameters(), out);
}

}  // namespace

int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err, std::ostream* terminal) {
  const auto fail = [&err](int code, const char* what) {
    err << "error: " << what << '\n';
    return code;
  };
  try {
    dispatch(argc, argv, out, err, terminal);
    return 0;
  } catch (const ReaderGone&) {
    return 0;
  } catch (const UsageError& error) {
    return fail(2, error.what());
  } catch (const std::exception& error) {
    return fail(1, error.what());
  } catch (...) {
    return fail(1, "unknown fault");
  }
}

}  // namespace nivra::tool
