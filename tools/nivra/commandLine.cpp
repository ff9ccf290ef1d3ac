#include "commandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <new>
#include <sstream>
#include <string>

#include "commands.h"
#include "errors.h"
#include "nivra/version.h"
#include "output.h"

namespace nivra::tool {

namespace {

constexpr char kAbout[] = "Follows objects through the detections of a camera: nivra COMMAND --help says more.";

/// Finds out what was asked for, and does it.
void dispatch(int argc, const char* const* argv, const Streams& streams) {
  CLI::App app(kAbout, "nivra");
  app.set_version_flag("--version",
                       fmt::format("nivra {}.{}.{}", NIVRA_VERSION_MAJOR, NIVRA_VERSION_MINOR, NIVRA_VERSION_PATCH));
  app.require_subcommand(1);
  addTrackCommand(app, streams);
  addConvertCommand(app, streams);
  addSimulateCommand(app, streams);
  addParamsCommand(app, streams);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& fault) {
    if (fault.get_exit_code() != 0) throw UsageError(fault.what());
    std::ostringstream help;
    app.exit(fault, help, streams.err);
    print(help.str(), {streams.out});
  }
}

}  // namespace

int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err, std::ostream* terminal,
        bool outIsTerminal) {
  const auto fail = [&err](int code, const char* what) {
    err << "error: " << what << '\n';
    return code;
  };
  try {
    dispatch(argc, argv, {out, err, terminal, outIsTerminal});
    return 0;
  } catch (const ReaderGone&) {
    return 0;
  } catch (const UsageError& error) {
    return fail(2, error.what());
  } catch (const std::bad_alloc&) {
    return fail(1, kNoMemory);
  } catch (const std::exception& error) {
    return fail(1, error.what());
  } catch (...) {
    return fail(1, "unknown fault");
  }
}

}  // namespace nivra::tool
