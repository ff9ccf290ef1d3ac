#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <thread>

#include "commandOptions.h"
#include "commands.h"
#include "hostkit/files/interruption.h"
#include "hostkit/formats/formats.h"
#include "hostkit/tuning/inputs.h"
#include "hostkit/tuning/report.h"
#include "hostkit/tuning/tuning.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(What goes in
  Sequence folders with detections and gt/gt.txt, or a folder of them; or any input of
  nivra track, and --truth: a file, or for several inputs a folder with the truth of
  each, named after it.

How it searches
  From the parameters given, the defaults, the presets and random ones, the best are
  improved step by step, within what is usual for each. What gives less than
  --least-gain is left out again. With several sequences the search is repeated
  without a part of them, and the result measured on that part: the score "held out"
  is what other sequences of the kind may be expected to get. The same options give
  the same result, however many --jobs there are. Ctrl-C ends the search early, and
  leaves the best so far.

What comes out
  A file for --params: a line for each parameter that is worth a change, with what it
  gives, and above them the scores of the defaults, the presets and the result.

Examples
      nivra tune det.txt --truth gt.txt --picture 1920x1080 --fps 30 -o site.params
      nivra tune path/to/sequences --tracker reid --objective HOTA=2,IDF1 -o site.params
      nivra tune path/to/sequences --preset flickering --vary vanilla.kalman -o site.params)";

struct Arguments {
  TuningOptions options;
  std::vector<std::string> inputs;
  std::string truth;
  std::string truthFrom;
  TrackerOptions tracker;
  InputOptions input;
  OutputOptions output;
  bool quiet = false;
};

void run(Arguments& given, const Streams& streams) {
  TuningOptions& options = given.options;
  options.read = given.input.settings;
  options.read.warn = [&streams](const std::string& warning) { streams.err << "warning: " << warning << '\n'; };
  options.tracker = given.tracker.choice;
  options.settings = given.tracker.settings();
  const Format* const truthFormat = given.truthFrom.empty() ? nullptr : &formatNamed("--truth-from", given.truthFrom);
  options.inputs = tunedInputs(given.inputs, {given.truth, truthFormat},
                               [&](const std::string& path) { return &given.input.formatOf(path, streams.err); });
  const InterruptionNoted interruption;
  options.isInterrupted = [&interruption] { return interruption.hasCome(); };
  options.progress = given.quiet ? nullptr : streams.terminal;
  const auto output = openOutput(given.output.target(streams.out));  // what it may not replace is said before the work
  const Tuning tuning = tune(options);
  output->write(parametersAsText(options, tuning));
  output->finish();
  streams.err << summaryOf(options, tuning);
}

}  // namespace

void addTuneCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<Arguments>();
  TuningOptions& options = given->options;
  options.jobs = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), TuningOptions::kJobs.least,
                            TuningOptions::kJobs.most);
  Command command(app, "tune", "Search parameters that suit sequences whose truth is known", kHelp);
  command.addTexts("INPUT", given->inputs, "", "Files, sequence folders, or folders of these")
      ->required()
      ->allow_extra_args();
  given->output.addTo(command, "FILE", "Where the parameters go; standard output if not given or -");
  command.addText("--truth", given->truth, "PATH", "What is true, if it is not in the inputs");
  given->input.addTo(command);
  command.addText("--truth-from", given->truthFrom, "FORMAT",
                  "jsonl, motchallenge, kitti or csv, told from what the truth holds if not given");
  command.addParsed("--preprocess", "KIND", "auto, none, mot17 or mot20; auto if not given",
                    [&options](const std::string& text) {
                      if (text != "auto") options.preprocessing = parsePreprocessing("--preprocess", text);
                    });
  given->tracker.addTo(command);
  command.addEachParsed("--vary", "SECTION[.NAME]",
                        "Search this parameter, or this section; what presets set if not given",
                        [&options](const std::string& text) { options.parameters.push_back(text); });
  command
      .addParsed("--objective", "FIGURE[=WEIGHT],...", "What is to become large: figures of nivra eval",
                 [&options](const std::string& text) { options.objective = Objective("--objective", text); })
      ->default_str(options.objective.text());
  command.addNumber("--evaluations", options.evaluations, TuningOptions::kEvaluations, "N",
                    "How many parameters each search tries");
  command.addNumber("--folds", options.folds, TuningOptions::kFolds, "N",
                    "In how many parts sequences are held out; 1 for none");
  command.addNumber("--least-gain", options.leastGain, TuningOptions::kGains, "N",
                    "Leave out what gives less of the objective");
  command.addNumber("--seed", options.seed, TuningOptions::kSeeds, "N", "Another number begins at other places");
  addTrackingOptions(command, options);
  command.addNumber("--jobs", options.jobs, TuningOptions::kJobs, "N", "How many threads work");
  command.addFlag("--quiet", given->quiet, "No progress on a terminal");
  command.whenChosen([given, streams] { run(*given, streams); });
}

}  // namespace nivra::tool
