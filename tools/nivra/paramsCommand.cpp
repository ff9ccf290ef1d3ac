#include <memory>

#include "commandOptions.h"
#include "commands.h"
#include "hostkit/files/output.h"
#include "hostkit/tracking/trackerRecipe.h"
#include "parameterList.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(Each parameter comes with its default, unit, meaning, what a larger value does and
what it may be.
The list of one tracker is a file for nivra track --params as it stands, and so is what
a preset sets of one tracker.

Examples
      nivra params --tracker reid > site.params
      nivra params --tracker vanilla --preset flickering > site.params
      nivra params --json | jq -r '.[] | select(.unit == "ns").key')";

struct Arguments {
  std::string tracker;
  std::string preset;
  bool asMarkdown = false;
  bool asJson = false;
};

/// All sections, or those which a tracker reads if one is named.
std::vector<ParameterSection> sectionsFor(const std::string& tracker) {
  return tracker.empty() ? parameterSections() : sectionsOf(parseTrackerChoice(tracker).selector);
}

}  // namespace

void addParamsCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<Arguments>();
  Command command(app, "params", "List the parameters of the trackers", kHelp);
  command.addText("--tracker", given->tracker, "NAME", "Only what vanilla, reid, hybrid or lowfps reads, or 0 to 3");
  CLI::Option* const markdown =
      command.addFlag("--markdown", given->asMarkdown, "A page with a table for each section");
  command.addFlag("--json", given->asJson, "An array with an object for each parameter")->excludes(markdown);
  command
      .addParsed("--preset", "NAME", "Only what steady or flickering sets, and to what",
                 [given](const std::string& text) { given->preset = parsePreset(text); })
      ->excludes(markdown);
  command.whenChosen([given, streams] {
    const auto list = given->asMarkdown ? listAsMarkdown : given->asJson ? listAsJson : listAsText;
    ParameterChoice choice = {sectionsFor(given->tracker)};
    if (!given->preset.empty()) choice.preset = presetOfAllTrackers(given->preset);
    print(list(choice), {streams.out});
  });
}

}  // namespace nivra::tool
