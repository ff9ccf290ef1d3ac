#include <memory>

#include "commandOptions.h"
#include "commands.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/formats.h"

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

struct Arguments {
  std::string input;
  std::string to = "jsonl";
  InputOptions inputOptions;
  OutputOptions output;
};

void run(const Arguments& given, const Streams& streams) {
  ReadSettings settings = given.inputOptions.settings;
  settings.warn = [&streams](const std::string& warning) { streams.err << "warning: " << warning << '\n'; };
  const Format& target = detectionFormatNamed("--to", given.to);
  const auto reader = given.inputOptions.formatOf(given.input, streams.err).read(given.input, settings);
  const auto writer = target.writeDetections(given.output.target(streams.out), {settings.frameRate, std::nullopt});
  for (Record record; reader->read(record);) {
    const BadLine* const bad = std::get_if<BadLine>(&record);
    if (bad != nullptr) failAt(shownName(given.input), static_cast<int>(bad->line), bad->field, bad->message);
    writer->write(record);
  }
  writer->finish();
}

}  // namespace

void addConvertCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<Arguments>();
  Command command(app, "convert", "Turn detections of one format into another", kHelp);
  command.addText("INPUT", given->input, "", "File, sequence folder, or - for standard input")->required();
  given->output.addTo(command, "FILE|FOLDER", "Where the detections go; standard output if not given or -");
  given->inputOptions.addTo(command);
  command.addText("--to", given->to, "FORMAT", "Format of the output: jsonl or motchallenge");
  command.whenChosen([given, streams] { run(*given, streams); });
}

}  // namespace nivra::tool
