#include <cstdint>
#include <limits>
#include <memory>

#include "commandOptions.h"
#include "commands.h"
#include "hostkit/formats/formats.h"
#include "hostkit/worlds/simulation.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(Writes the detections and the truth, gt/gt.txt, into FOLDER. Some people vanish
behind a kiosk for a while. The same options give the same bytes everywhere.

What comes out
  --to motchallenge writes seqinfo.ini, det/det.txt and the appearance features
  det/feat.bin; with these files a dropped frame looks like one without
  detections, and they have no place for vehicles and camera motion.
  --to jsonl holds everything.
  The truth has one line a figure and frame:
      frame,id,left,top,width,height,1,class,visibility
  The class is 1 for people and 3 for cars, as MOTChallenge numbers them, and 14
  for trucks. Who comes back in has the same id as before. The visibility is the
  share of the box that is in the picture and not hidden.

Examples
  Follow forty people:
      nivra simulate -o crowd --people 40 --seed 7 && nivra track crowd -o crowd.txt
  Let people leave and come back, in front of a camera that loses frames:
      nivra simulate -o lobby --frames 2000 --reentries 0.7 --drop 0.1)";

constexpr Range<std::uint64_t> kSeeds = {0, std::numeric_limits<std::uint64_t>::max()};
constexpr Range<int> kFigureCounts = {0, 1000};

struct Arguments {
  SimulationOptions options;
  std::string format = "motchallenge";
  OutputOptions output;
};

}  // namespace

void addSimulateCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<Arguments>();
  SimulationOptions& options = given->options;
  Command command(app, "simulate", "Make up a sequence: people cross a plaza, a detector watches them", kHelp);
  given->output.addTo(command, "FOLDER", "Where the sequence goes")->required();
  command.addNumber("--seed", options.seed, kSeeds, "N", "Another number gives other people");
  command.addNumber("--frames", options.frames, kFrameCounts, "N", "Length of the sequence");
  command.addNumber("--people", options.people, kFigureCounts, "N", "How many cross the plaza");
  command.addNumber("--vehicles", options.vehicles, kFigureCounts, "N", "How many cars and trucks pass by");
  command.addNumber("--reentries", options.reentries, Range<double>{0.0, 1.0}, "SHARE",
                    "Share of those who leave that come back later");
  command.addNumber("--pan", options.pan, Range<double>{0.0, 5.0}, "SPEED",
                    "Fastest panning to and fro, picture widths per second");
  command.addNumber("--drop", options.drop, Range<double>{0.0, 0.9}, "SHARE",
                    "Share of the frames that the camera drops");
  command.addNumber("--feature-length", options.featureLength, Range<int>{0, 4096}, "N",
                    "Numbers of an appearance feature; 0 for none");
  command
      .addParsed("--picture", "WxH", "Size of the picture in pixels",
                 [&options](const std::string& text) { options.picture = parsePicture(text); })
      ->default_str(fmt::format("{}x{}", options.picture.width, options.picture.height));
  command
      .addParsed("--fps", "F", "Frames per second, such as 25 or 30000/1001",
                 [&options](const std::string& text) { options.frameRate = parseFrameRate(text); })
      ->default_str(fmt::format("{}", options.frameRate));
  command.addText("--to", given->format, "FORMAT", "Format of the detections: motchallenge or jsonl");
  command.whenChosen([given, streams] {
    simulate(given->options, given->output.target(streams.out), detectionFormatNamed("--to", given->format));
  });
}

}  // namespace nivra::tool
