#include "simulateCommand.h"

#include <cstdint>
#include <limits>

#include "formats.h"

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
  The class is 1 for people and 3 for cars, as MOTChallenge numbers them, and 12
  for trucks. Who comes back in has the same id as before. The visibility is the
  share of the box that is in the picture and not hidden.

Examples
  Follow forty people:
      nivra simulate -o crowd --people 40 --seed 7 && nivra track crowd -o crowd.txt
  Let people leave and come back, in front of a camera that loses frames:
      nivra simulate -o lobby --frames 2000 --reentries 0.7 --drop 0.1)";

}  // namespace

SimulateCommand::SimulateCommand(CLI::App& app)
    : command(*app.add_subcommand("simulate", "Make up a sequence: people cross a plaza, a detector watches them")) {
  outputOptions.addTo(command, "Where the sequence goes", "FOLDER")->required();
  addText(command, "--seed", seed, "Another number gives other people")->type_name("N")->capture_default_str();
  addText(command, "--frames", frames, "Length of the sequence")->type_name("N")->capture_default_str();
  addText(command, "--people", people, "How many cross the plaza")->type_name("N")->capture_default_str();
  addText(command, "--vehicles", vehicles, "How many cars and trucks pass by")->type_name("N")->capture_default_str();
  addText(command, "--reentries", reentries, "Share of those who leave that come back later")
      ->type_name("SHARE")
      ->capture_default_str();
  addText(command, "--pan", pan, "Fastest panning to and fro, picture widths per second")
      ->type_name("SPEED")
      ->capture_default_str();
  addText(command, "--drop", drop, "Share of the frames that the camera drops")
      ->type_name("SHARE")
      ->capture_default_str();
  addText(command, "--feature-length", featureLength, "Numbers of an appearance feature; 0 for none")
      ->type_name("N")
      ->capture_default_str();
  pictureOptions.addTo(command, "");
  addText(command, "--to", format, "Format of the detections: motchallenge or jsonl")
      ->type_name("FORMAT")
      ->capture_default_str();
  command.footer(kHelp);
}

void SimulateCommand::runIfChosen(std::ostream& out) {
  if (!command.parsed()) return;
  options.seed = parseOption("--seed", seed, Range<std::uint64_t>{0, std::numeric_limits<std::uint64_t>::max()});
  options.frames = parseOption("--frames", frames, kFrameCounts);
  options.people = parseOption("--people", people, Range<int>{0, 1000});
  options.vehicles = parseOption("--vehicles", vehicles, Range<int>{0, 1000});
  options.reentries = parseOption("--reentries", reentries, Range<double>{0.0, 1.0});
  options.pan = parseOption("--pan", pan, Range<double>{0.0, 5.0});
  options.drop = parseOption("--drop", drop, Range<double>{0.0, 0.9});
  options.featureLength = parseOption("--feature-length", featureLength, Range<int>{0, 4096});
  options.picture = *pictureOptions.picture();
  options.frameRate = *pictureOptions.frameRate();
  simulate(options, outputOptions.target(out), detectionFormatNamed("--to", format));
}

}  // namespace nivra::tool
