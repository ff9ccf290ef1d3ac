#include "commandLine.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <new>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "hostkit/errors.h"
#include "hostkit/files/output.h"
#include "hostkit/text/suggestion.h"
#include "nivra/version.h"

namespace nivra::tool {

using namespace hostkit;

namespace {

constexpr char kAbout[] = "Follows objects through the detections of a camera: nivra COMMAND --help says more.";

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
  const auto fail = [](const std::string& what) { throw UsageError(what + " (nivra --help says what they do)"); };
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
  return fmt::format("{}{} (nivra{} --help describes the options)", fault.what(), suggestion, name);
}

/// Finds out what was asked for, and does it.
void dispatch(int argc, const char* const* argv, const Streams& streams) {
  CLI::App app(kAbout, "nivra");
  app.set_version_flag("--version",
                       fmt::format("nivra {}.{}.{}", NIVRA_VERSION_MAJOR, NIVRA_VERSION_MINOR, NIVRA_VERSION_PATCH));
  app.require_subcommand(1);
  addTrackCommand(app, streams);
  addConvertCommand(app, streams);
  addEvalCommand(app, streams);
  addSimulateCommand(app, streams);
  addParamsCommand(app, streams);

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
