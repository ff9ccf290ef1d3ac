#include <memory>

#include "commandOptions.h"
#include "commands.h"
#include "hostkit/replaying/plots.h"
#include "recordingOptions.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(What goes in is what replay takes; several trackers stand below each other, or in one
plot of HOTA.

Kinds
  trajectories  The ways of all identities through the picture.
  lives         When each identity was there: a bar for each, with gaps.
  hota          HOTA, DetA and AssA over the thresholds of overlap; with --truth.

Examples
      nivra plot examples/data/plaza -o ways.svg
      nivra plot examples/data/plaza --truth examples/data/plaza --kind hota -o hota.svg
          --tracker reid --beside vanilla)";

struct Arguments {
  RecordingArguments recording;
  PlotKind kind = PlotKind::trajectories;
  std::string camera;
  OutputOptions output;
};

void run(Arguments& given, const Streams& streams) {
  const Recording recording = given.recording.record(streams);
  print(plot(cameraNamed(recording, given.camera), given.kind), given.output.target(streams.out));
  if (!recording.complaint.empty()) throw FileError(recording.complaint);
}

}  // namespace

void addPlotCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<Arguments>();
  Command command(app, "plot", "Draw tracks for reports, as SVG", kHelp);
  given->recording.addTo(command);
  given->output.addTo(command, "FILE", "Where the drawing goes; standard output if not given or -");
  command.addParsed("--kind", "KIND", "trajectories, lives or hota; trajectories if not given",
                    [given](const std::string& text) { given->kind = parsePlotKind("--kind", text); });
  command.addText("--camera", given->camera, "NAME", "The camera, if there are several");
  command.whenChosen([given, streams] { run(*given, streams); });
}

}  // namespace nivra::tool
