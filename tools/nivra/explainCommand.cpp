#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>

#include "commandOptions.h"
#include "commands.h"
#include "hostkit/errors.h"
#include "hostkit/explaining/explaining.h"
#include "hostkit/explaining/report.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(What is told
  Of every identity that began near a track which existed, or where one had just
  ended: what refused the track that was the nearest miss. Or instead of that
  --id        the life of one identity, from its first detection to its end
  --frame     all that was decided in one frame
  --worst     the decisions with the smallest margin, the likeliest mistakes first
  --truth     each identity switch that nivra eval counts

  Each sentence names the rule that decided, its figure and its limit, and in
  brackets the parameter that sets the limit. Where one parameter alone would have
  changed the decision, the input is tracked again with it, and the line below
  tells whether it did, and what else it changed; for a hundred values at most.

  Identities are those of nivra track, whose options for labels, parameters and
  cameras hold here, too. The input is read several times, and so is no pipe.

Examples
      nivra explain examples/data/plaza
      nivra explain examples/data/plaza --id 4
      nivra explain examples/data/plaza --truth examples/data/plaza --json)";

constexpr Range<int> kIdentityNumbers = {0, std::numeric_limits<int>::max()};
constexpr Range<std::size_t> kDecisionCounts = {1, 100'000};

bool isThere(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

struct Arguments {
  ExplainOptions options;
  std::string inputPath;
  TrackerOptions tracker;
  InputOptions input;
  bool asJson = false;
  OutputOptions output;
};

void run(Arguments& given, const Streams& streams) {
  ExplainOptions& options = given.options;
  if (given.inputPath == kStandardInput || (isThere(given.inputPath) && !canBeReadTwice(given.inputPath))) {
    throw UsageError(given.inputPath + ": expected a file or a folder, as it is read several times");
  }
  options.track.read = given.input.settings;
  options.track.inputs.push_back({given.inputPath, &given.input.formatOf(given.inputPath, streams.err)});
  const Explanations explanations = explain(options, given.tracker.recipe(streams.err), streams.err);
  if (explanations.badRecords > 0) {
    streams.err << "warning: " << explanations.badRecords << " lines were passed over; nivra track says why\n";
  }
  if (explanations.leftUnchecked) {
    streams.err << "warning: a hundred other values of parameters were tried; of decisions behind, none was\n";
  }
  print((given.asJson ? reportAsJson : reportAsText)(explanations), given.output.target(streams.out));
}

}  // namespace

void addExplainCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<Arguments>();
  ExplainOptions& options = given->options;
  Command command(app, "explain", "Say why identities begin, change and end", kHelp);
  command.addText("INPUT", given->inputPath, "", "Detections: a file or sequence folder")->required();
  command.addNumber("--id", options.id, kIdentityNumbers, "N", "The life of this identity");
  command.addNumber("--frame", options.frame, kFrameCounts, "F", "All that was decided in this frame, from 1");
  command.addNumber("--worst", options.worst, kDecisionCounts, "K", "So many decisions, the narrowest first");
  command.addText("--truth", options.truth.path, "PATH", "The identity switches by this truth, each explained");
  command.addParsed("--preprocess", "KIND", "Of the truth, as nivra eval has it: auto, none, mot17 or mot20",
                    [&options](const std::string& text) {
                      if (text != "auto") options.preprocessing = parsePreprocessing("--preprocess", text);
                    });
  command.addText("--camera", options.camera, "NAME", "Which camera, if the input has several");
  command.addFlag("--json", given->asJson, "For programs, as docs/explanations.schema.json has it");
  given->output.addTo(command, "FILE", "Where the explanations go; standard output if not given or -");
  given->input.addTo(command);
  given->tracker.addTo(command);
  addTrackingOptions(command, options.track);
  command.whenChosen([given, streams] { run(*given, streams); });
}

}  // namespace nivra::tool
