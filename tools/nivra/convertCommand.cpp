#include "convertCommand.h"

#include "byteSource.h"
#include "formats.h"
#include "textFile.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(jsonl holds everything that the other formats say. motchallenge is a folder with
seqinfo.ini, det/det.txt and, if all detections have one, their features in
det/feat.bin; it holds one camera and one label, and needs --fps to number the
frames by their times. nivra track --help describes the formats.

Examples
      nivra convert path/to/sequence -o detections.jsonl.gz
      nivra convert results.json --from coco --picture 1920x1080 --fps 30 --category 1=human
      nivra convert detections.jsonl --to motchallenge --fps 25 -o sequence)";

}  // namespace

ConvertCommand::ConvertCommand(CLI::App& app)
    : command(*app.add_subcommand("convert", "Turn detections of one format into another")) {
  addText(command, "INPUT", input, "File, sequence folder, or - for standard input")->required()->type_name("");
  outputOptions.addTo(command, "Where the detections go; standard output if not given", "FILE|FOLDER");
  inputOptions.addTo(command);
  addText(command, "--to", to, "Format of the output: jsonl or motchallenge")
      ->type_name("FORMAT")
      ->capture_default_str();
  command.footer(kHelp);
}

void ConvertCommand::runIfChosen(std::ostream& out) {
  if (!command.parsed()) return;
  const ReadSettings settings = inputOptions.settings();
  const Format& target = detectionFormatNamed("--to", to);
  const auto reader = inputOptions.formatOf(input).read(input, settings);
  const auto writer = target.writeDetections(outputOptions.target(out), {settings.frameRate, std::nullopt});
  for (Record record; reader->read(record);) {
    const BadLine* const bad = std::get_if<BadLine>(&record);
    if (bad != nullptr) failAt(shownName(input), static_cast<int>(bad->line), bad->field, bad->message);
    writer->write(record);
  }
  writer->finish();
}

}  // namespace nivra::tool
