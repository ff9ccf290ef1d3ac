#include "commandLine.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>
#include <new>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "colouredWords.h"
#include "hostkit/errors.h"
#include "hostkit/files/output.h"
#include "hostkit/text/suggestion.h"
#include "nivra/version.h"

namespace nivra::tool {

using namespace hostkit;

namespace {

/// Files that are opened later would take the numbers of closed standard streams: the output file would be read as the
/// standard input, or messages written into it. What is put in their place fails as the closed ones do.
void occupyClosedStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

/// What is said by `help`, `help COMMAND` and `version` is what their options say.
std::vector<const char*> withWordsAsOptions(int argc, const char* const* argv) {
  std::vector<const char*> words(argv, argv + argc);
  const std::string_view first = argc > 1 ? argv[1] : "";
  if (first == "help") {
    words.erase(words.begin() + 1);
    words.push_back("--help");
  } else if (first == "version") {
    words[1] = "--version";
  }
  return words;
}

std::vector<std::string> commandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const each : app.get_subcommands({})) names.push_back(each->get_name());
  return names;
}

void requireCommand(const CLI::App& app, const std::vector<const char*>& words) {
  const std::vector<std::string> names = commandNames(app);
  const auto fail = [&app](const std::string& what) {
    throw UsageError(fmt::format("{} ({} --help says what they do)", what, app.get_name()));
  };
  if (words.size() < 2) fail(fmt::format("expected one of the commands {}", fmt::join(names, ", ")));
  const std::string given = words[1];
  if (std::find(names.begin(), names.end(), given) != names.end()) return;
  if (given.rfind('-', 0) != 0) {
    fail(fmt::format("there is no command {}, but {}{}", given, fmt::join(names, ", "), suggestionFor(given, names)));
  }
  const std::vector<std::string> options = {"--help", "-h", "--version"};
  if (std::find(options.begin(), options.end(), given) != options.end()) return;
  fail(fmt::format("{}: expected a command before it{}", given, suggestionFor(given, options)));
}

/// What is wrong with a call, and where the right one is described.
std::string explain(const CLI::App& app, const std::vector<const char*>& words, const CLI::ParseError& fault) {
  const CLI::App* const command = app.get_subcommands().empty() ? &app : app.get_subcommands().front();
  std::vector<std::string> known;
  for (const CLI::Option* const option : command->get_options()) {
    for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
  }
  std::string suggestion;
  for (const std::string_view word : words) {
    const std::string option(word.substr(0, word.find('=')));
    const bool isUnknown = option.rfind("--", 0) == 0 && std::find(known.begin(), known.end(), option) == known.end();
    if (isUnknown && suggestion.empty()) suggestion = suggestionFor(option, known);
  }
  const std::string name = command == &app ? "" : " " + command->get_name();
  return fmt::format("{}{} ({}{} --help describes the options)", fault.what(), suggestion, app.get_name(), name);
}

/// Finds out what was asked for, and does it.
void dispatch(const Program& program, int argc, const char* const* argv, const Streams& streams) {
  CLI::App app(program.about, program.name);
  app.set_version_flag("--version", fmt::format("{} {}.{}.{}", program.name, NIVRA_VERSION_MAJOR, NIVRA_VERSION_MINOR,
                                                NIVRA_VERSION_PATCH));
  app.require_subcommand(1);
  for (const auto add : program.commands) add(app, streams);

  const std::vector<const char*> words = withWordsAsOptions(argc, argv);
  requireCommand(app, words);
  try {
    app.parse(static_cast<int>(words.size()), words.data());
  } catch (const CLI::ParseError& fault) {
    if (fault.get_exit_code() != 0) throw UsageError(explain(app, words, fault));
    std::ostringstream help;
    app.exit(fault, help, streams.err);
    print(help.str(), {streams.out});
  }
}

}  // namespace

const Program kNivra = {"nivra",
                        "Follows objects through the detections of a camera: nivra COMMAND --help says more.",
                        {addTrackCommand, addConvertCommand, addEvalCommand, addExplainCommand, addTuneCommand,
                         addReplayCommand, addPlotCommand, addSimulateCommand, addParamsCommand}};

int run(const Program& program, int argc, const char* const* argv, const Streams& streams) {
  const auto fail = [&streams](int code, const char* what) {
    streams.err << "error: " << what << '\n';
    return code;
  };
  try {
    dispatch(program, argc, argv, streams);
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

int runProcess(const Program& program, int argc, const char* const* argv) {
  occupyClosedStandardStreams();
  // Closed pipes and files that grow too large then show as failing writes, which end the command in good order.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::ios::sync_with_stdio(false);
  const bool isErrTerminal = isatty(STDERR_FILENO) == 1;
  ColouredWords colouredWords(*std::cerr.rdbuf());
  std::ostream coloured(&colouredWords);
  coloured << std::unitbuf;
  std::ostream& err = isErrTerminal && ColouredWords::areWanted() ? coloured : std::cerr;
  return run(program, argc, argv, {std::cout, err, isErrTerminal ? &err : nullptr, isatty(STDOUT_FILENO) == 1});
}

}  // namespace nivra::tool
