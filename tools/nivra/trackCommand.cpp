#include "trackCommand.h"

#include "byteSource.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(What goes in
  jsonl         One JSON object a line, each a frame of some camera; see
                docs/streams.md. This is what standard input holds.
  motchallenge  A sequence folder (det/det.txt or det.txt, and seqinfo.ini with
                frameRate, seqLength, imWidth and imHeight), or a detection file by
                itself, with --picture and --fps. One line a detection:
                    frame,id,left,top,width,height,conf
                A feat.bin beside the detections gives appearance features: int32
                rows, int32 columns, then a row of float32 for every line.
  coco          One JSON array of detections with image_id (the frame), category_id,
                bbox and score; with --picture and --fps.
  Each input is tracked by itself. Files may be packed by gzip.

What comes out
  jsonl         One line for every input line, at once: the tracks of the frame,
                with identity, box, velocity, scores and the detection they took.
  motchallenge  One line a track and frame:
                    frame,id,left,top,width,height,conf,-1,-1,-1
  A track is reported from its first detection on; --confident-only waits until
  it is confirmed. FILE appears when the whole output is written, packed if its
  name ends in .gz; a FOLDER gets a file for each input.

Labels
  Tracks take detections by the associations of labels alone. In files, labels
  that are not mentioned associate with themselves. In streams, only --labels and
  --associate count (--label if neither is given), and a label that none of them
  covers is not tracked, but named once, as "unassociated".

Parameters
  nivra params --tracker NAME lists those of a tracker, in the form that --params
  takes: lines "section.name = value", which may end in " # comment". Of several
  values the last one holds, those of --param after those of all files.

Examples
  Track a sequence folder, confirmed tracks only:
      nivra track examples/data/plaza --confident-only -o plaza.txt
  Track a bare detection file:
      nivra track det.txt --picture 1920x1080 --fps 30 -o tracks.txt
  Track the cameras of a stream as they come:
      detector | nivra track --labels human,car --tracker hybrid | consumer
  Keep the parameters of a site in a file:
      nivra params --tracker reid > site.params
      nivra track examples/data/plaza --tracker reid --params site.params
  Let cars take what was taken for trucks:
      nivra track day.jsonl.gz --associate car=car,truck -o day-tracks.jsonl.gz

Exit code: 0 for success, 1 for a fault of input or output, 2 for a wrong call.)";

constexpr Range<double> kIdleSeconds = {0.001, 1e9};

}  // namespace

TrackCommand::TrackCommand(CLI::App& app)
    : command(*app.add_subcommand("track", "Turn detections into tracks with stable identities")) {
  command.add_option("INPUT", inputs, "Files, sequence folders, or - for standard input (if none is given)")
      ->type_name("")
      ->check([](const std::string& argument) { return std::string(argument.empty() ? "must not be empty" : ""); });
  outputOptions.addTo(command, "Where the tracks go; standard output if not given", "FILE|FOLDER");
  inputOptions.addTo(command);
  addText(command, "--to", options.to, "Format of the output: jsonl or motchallenge")->type_name("FORMAT");
  addText(command, "--tracker", tracker, "vanilla, reid, hybrid or lowfps, or 0 to 3; vanilla if not given")
      ->type_name("NAME");
  addTexts(command, "--params", paramsFiles, "Set parameters from a file; may be repeated")->type_name("FILE");
  addTexts(command, "--param", params, "Set a parameter of the tracker; may be repeated")
      ->type_name("SECTION.NAME=VALUE");
  addTexts(command, "--associate", associationTexts, "Detections that tracks of a label take; may be repeated")
      ->type_name("LABEL=LABEL,...");
  addText(command, "--labels", labels, "Labels that associate with themselves")->type_name("LABEL,...");
  addText(command, "--idle-timeout", idleTimeout, "Let go of cameras of which nothing came for so long")
      ->type_name("SECONDS");
  command.add_flag("--confident-only", options.confidentOnly, "Report confirmed tracks only");
  command.add_flag("--debug", options.debug, "Add the inner state of the tracks");
  command.add_flag("--strict", options.strict, "End with the first bad line");
  command.add_flag("--verbose", options.verbose, "Summary on standard error");
  command.add_flag("--quiet", quiet, "No progress on a terminal");
  command.footer(kHelp);
}

LabelAssociations TrackCommand::associations() const {
  LabelAssociations result;
  for (const std::string& text : associationTexts) {
    const auto [label, taken] = parseAssignment("--associate", text);
    for (const std::string& each : parseList("--associate", taken)) result[label].insert(each);
  }
  return result;
}

void TrackCommand::runIfChosen(std::ostream& out, std::ostream& err, std::ostream* terminal) {
  if (!command.parsed()) return;
  options.read = inputOptions.settings();
  options.associations = associations();
  if (!labels.empty()) options.labels = parseList("--labels", labels);
  if (!idleTimeout.empty()) {
    const std::chrono::duration<double> seconds(parseOption("--idle-timeout", idleTimeout, kIdleSeconds));
    options.mostIdle = std::chrono::duration_cast<std::chrono::nanoseconds>(seconds);
  }
  options.progress = quiet ? nullptr : terminal;
  const TrackerRecipe recipe(parseTrackerChoice(tracker), collectSettings(paramsFiles, params));
  if (inputs.empty()) inputs.push_back(kStandardInput);
  for (const std::string& path : inputs) options.inputs.push_back({path, &inputOptions.formatOf(path)});
  track(options, recipe, outputOptions.target(out), err);
}

}  // namespace nivra::tool
