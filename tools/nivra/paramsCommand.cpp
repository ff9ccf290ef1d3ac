#include "paramsCommand.h"

#include <algorithm>

#include "commandOptions.h"
#include "output.h"
#include "parameterList.h"
#include "trackerRecipe.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(Each parameter comes with its default, unit, meaning and what a larger value does.
The list of one tracker is a file for nivra track --params as it stands.

Examples
      nivra params --tracker reid > site.params
      nivra params --json | jq -r '.[] | select(.unit == "ns").key')";

}  // namespace

ParamsCommand::ParamsCommand(CLI::App& app)
    : command(*app.add_subcommand("params", "List the parameters of the trackers")) {
  addText(command, "--tracker", tracker, "Only what vanilla, reid, hybrid or lowfps reads, or 0 to 3")
      ->type_name("NAME");
  CLI::Option* const markdown = command.add_flag("--markdown", asMarkdown, "A page with a table for each section");
  command.add_flag("--json", asJson, "An array with an object for each parameter")->excludes(markdown);
  command.footer(kHelp);
}

std::vector<ParameterSection> ParamsCommand::sections() const {
  std::vector<ParameterSection> chosen(parameterSections.begin(), parameterSections.end());
  if (tracker.empty()) return chosen;
  const TrackerChoice choice = parseTrackerChoice(tracker);
  const auto isUnread = [&](const ParameterSection& section) { return !readsSection(choice, section); };
  chosen.erase(std::remove_if(chosen.begin(), chosen.end(), isUnread), chosen.end());
  return chosen;
}

void ParamsCommand::runIfChosen(std::ostream& out) {
  if (!command.parsed()) return;
  const auto list = asMarkdown ? listAsMarkdown : asJson ? listAsJson : listAsText;
  print(list(sections()), {out});
}

}  // namespace nivra::tool
