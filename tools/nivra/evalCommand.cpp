#include <algorithm>
#include <memory>
#include <thread>

#include "commandOptions.h"
#include "commands.h"
#include "evaluationReport.h"
#include "hostkit/evaluation/evaluation.h"
#include "hostkit/formats/formats.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(TRUTH is a sequence folder with gt/gt.txt, a file, or a folder of such folders or
files. Each of TRACKS is a tracker: a folder with a file for each sequence, named
after it, or a file. docs/evaluation.md tells how the figures come about.

What is told
  HOTA          HOTA, DetA, AssA, DetRe, DetPr, AssRe, AssPr and LocA: means over 19
                thresholds of overlap, (0) the value at the first one, 0.05.
  CLEAR         MOTA, MOTP, MODA, recall, precision, false boxes a frame, and counts.
  Identity      IDF1, IDP, IDR, and counts.
  Of each sequence and of all together; with several trackers, the difference to the
  first one. Fractions are percent in tables, and fractions in JSON and CSV.

Preprocessing
  auto          mot17 or mot20 (for sequences named MOT20...) where the truth has classes
                of the MOTChallenge, none elsewhere.
  none          Boxes of the truth with confidence 0 are passed over.
  mot17, mot20  Only pedestrians are to be found; boxes on distractors don't count.

Examples
      nivra eval path/to/sequences ours/ theirs/
      nivra eval examples/data/plaza plaza.txt --json
      nivra eval path/to/sequences --tracker before=old/ --tracker after=new/ --csv -o out.csv)";

constexpr Range<int> kJobs = {1, 1024};

struct Arguments {
  EvaluationOptions options;
  std::vector<std::string> tracks;
  std::vector<TrackerInput> named;  // come behind the others
  std::string from;
  std::string truthFrom;
  bool asJson = false;
  bool asCsv = false;
  OutputOptions output;
};

void run(Arguments& given, const Streams& streams) {
  EvaluationOptions& options = given.options;
  for (const std::string& path : given.tracks) options.trackers.push_back({"", path});
  for (const TrackerInput& each : given.named) options.trackers.push_back(each);
  if (options.trackers.empty())
    throw UsageError("expected TRACKS or --tracker NAME=PATH (nivra eval --help says more)");
  if (!given.from.empty()) options.trackFormat = &formatNamed("--from", given.from);
  if (!given.truthFrom.empty()) options.truthFormat = &formatNamed("--truth-from", given.truthFrom);
  options.read.warn = [&streams](const std::string& warning) { streams.err << "warning: " << warning << '\n'; };
  const auto report = given.asJson ? reportAsJson : given.asCsv ? reportAsCsv : reportAsText;
  print(report(evaluate(options)), given.output.target(streams.out));
}

}  // namespace

void addEvalCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<Arguments>();
  EvaluationOptions& options = given->options;
  options.jobs = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), kJobs.least, kJobs.most);
  Command command(app, "eval", "Compare tracks with the truth", kHelp);
  command.addText("TRUTH", options.truth, "", "File, sequence folder, or folder of these")->required();
  command.addTexts("TRACKS", given->tracks, "", "Files, or folders with a file for each sequence")->allow_extra_args();
  given->output.addTo(command, "FILE", "Where the figures go; standard output if not given or -");
  CLI::Option* const json = command.addFlag("--json", given->asJson, "Everything, to the last digit");
  command.addFlag("--csv", given->asCsv, "A line of numbers for each line of the tables")->excludes(json);
  command.addEachParsed("--tracker", "NAME=PATH", "Tracks and how they are called; may be repeated",
                        [given](const std::string& text) {
                          auto [name, path] = parseAssignment("--tracker", text);
                          given->named.push_back({std::move(name), std::move(path)});
                        });
  command.addParsed("--preprocess", "KIND", "auto, none, mot17 or mot20; auto if not given",
                    [&options](const std::string& text) {
                      if (text != "auto") options.preprocessing = parsePreprocessing("--preprocess", text);
                    });
  command.addParsed("--class", "LABEL,...", "Each of these classes by itself",
                    [&options](const std::string& text) { options.classes = parseList("--class", text); });
  command.addParsed("--sequences", "NAME,...", "Only these sequences",
                    [&options](const std::string& text) { options.sequences = parseList("--sequences", text); });
  command.addText("--from", given->from, "FORMAT",
                  "jsonl, motchallenge, kitti or csv, told from what the tracks hold if not given");
  command.addText("--truth-from", given->truthFrom, "FORMAT",
                  "jsonl, motchallenge, kitti or csv, likewise for the truth");
  command.addParsed("--picture", "WxH", "Size of the picture that jsonl without one is in",
                    [&options](const std::string& text) { options.read.picture = parsePicture(text); });
  command.addParsed("--fps", "F", "Frames per second, to number the frames of jsonl by their times",
                    [&options](const std::string& text) { options.read.frameRate = parseFrameRate(text); });
  command.addNumber("--jobs", options.jobs, kJobs, "N", "How many threads work");
  command.whenChosen([given, streams] { run(*given, streams); });
}

}  // namespace nivra::tool
