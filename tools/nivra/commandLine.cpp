#include "commandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <exception>
#include <limits>
#include <sstream>
#include <string>

#include "errors.h"
#include "numbers.h"
#include "output.h"
#include "parameters.h"
#include "simulation.h"
#include "trackCommand.h"

namespace nivra::tool {

namespace {

constexpr char kAbout[] = "Follows objects through the detections of a camera: nivra COMMAND --help says more.";

constexpr char kTrackHelp[] = R"(What goes in
  INPUT is a MOTChallenge sequence folder (det/det.txt or det.txt, and seqinfo.ini
  with frameRate, seqLength, imWidth and imHeight), or a detection file by itself;
  --picture and --fps then tell what seqinfo.ini would. One line a detection:
      frame,id,left,top,width,height,conf
  Frames count from 1, in any order of lines; the id is ignored; boxes are pixels
  from the top left corner; up to three more numbers may follow. Frames without
  detections count too. In a folder, a feat.bin beside the detections gives them
  appearance features, by which reid and hybrid know people who come back: int32
  rows, int32 columns, then a row of float32 for every line, little-endian.
  When every confidence of the file lies from 0 to 1 they are fractions: the
  tracker sees them as percent, and the output has fractions again. Otherwise
  they are percent already and stay as they are.

What comes out
  One line a track and frame, frame by frame:
      frame,id,left,top,width,height,conf,-1,-1,-1
  The id is the identity, from 1; boxes are smoothed and end at the picture's
  border; conf is the smoothed confidence, which fades while nothing is detected.
  A track is reported from its first detection on; --confident-only waits until
  it is confirmed. FILE is replaced only when the whole output is written.

Parameters
  nivra parameters lists every section.name with default, unit and meaning.
  vanilla reads the sections vanilla and vanilla.kalman, reid reads reid and
  reid.kalman4d, hybrid reads all four, lowfps vanillaLowFps and
  vanillaLowFps.kalman.

Examples
  Track a sequence folder, confirmed tracks only:
      nivra track examples/data/plaza --confident-only -o plaza.txt
  Track a bare detection file:
      nivra track det.txt --picture 1920x1080 --fps 30 -o tracks.txt
  Recognise people who were out of sight:
      nivra track examples/data/plaza --tracker reid -o plaza.txt
  Keep lost tracks longer, and count the identities:
      nivra track examples/data/plaza --param vanilla.expirationLikelihoodThreshold=-4 |
        cut -d, -f2 | sort -u | wc -l

Exit code: 0 for success, 1 for a fault of input or output, 2 for a wrong call.)";

constexpr char kSimulateHelp[] = R"(Writes seqinfo.ini, det/det.txt, their appearance features det/feat.bin and the
truth, gt/gt.txt, into FOLDER. Some people vanish behind a kiosk for a while. The
same options give the same bytes everywhere.

Example
      nivra simulate -o crowd --people 40 --seed 7 && nivra track crowd -o crowd.txt)";

template <class Number>
Number parseOption(const char* option, const std::string& text, Range<Number> range) {
  const auto number = parseNumber(text, range);
  if (!number) throw UsageError(fmt::format("{} {}: {}", option, text, expectation(range)));
  return *number;
}

PictureSize parsePicture(const std::string& text) {
  const auto cross = text.find('x');
  const auto width = parseNumber(text.substr(0, cross), kPictureSides);
  const auto height = cross == std::string::npos ? std::nullopt : parseNumber(text.substr(cross + 1), kPictureSides);
  if (!width || !height) {
    throw UsageError(fmt::format("--picture {}: expected WIDTHxHEIGHT in pixels, such as 1920x1080", text));
  }
  return {*width, *height};
}

/// An empty argument is mostly a variable that a script forgot to set.
CLI::Option* addText(CLI::App& command, const std::string& name, std::string& text, const std::string& help) {
  return command.add_option(name, text, help)->check([](const std::string& argument) {
    return std::string(argument.empty() ? "must not be empty" : "");
  });
}

/// Options are taken as text, so that numbers are as strict here as they are in files.
struct PictureOptions {
  std::string picture;
  std::string frameRate;

  void addTo(CLI::App& command, const std::string& instead) {
    addText(command, "--picture", picture, "Size of the picture in pixels" + instead)
        ->type_name("WxH")
        ->default_str(picture);
    addText(command, "--fps", frameRate, "Frames per second" + instead)->type_name("F")->default_str(frameRate);
  }
};

/// One command: declares its options, and runs when it was chosen.
class TrackCommand {
 public:
  explicit TrackCommand(CLI::App& app)
      : command(*app.add_subcommand("track", "Turn the detections of a sequence into tracks with stable identities")) {
    addText(command, "INPUT", options.input, "Sequence folder or detection file")->required()->type_name("");
    addText(command, "-o,--output", options.outputFile, "Where the tracks go; standard output if not given")
        ->type_name("FILE");
    addText(command, "--tracker", tracker, "vanilla, reid, hybrid or lowfps, or 0 to 3; vanilla if not given")
        ->type_name("NAME");
    command.add_option("--param", options.params, "Set a parameter of the tracker; may be repeated")
        ->type_name("SECTION.NAME=VALUE")
        ->allow_extra_args(false);
    addText(command, "--label", options.sequence.label, "Class of all detections; human if not given")
        ->type_name("LABEL");
    pictureOptions.addTo(command, ", instead of seqinfo.ini's");
    command.add_flag("--confident-only", options.confidentOnly, "Report confirmed tracks only");
    command.add_flag("--quiet", options.quiet, "No summary on standard error");
    command.footer(kTrackHelp);
  }

  void runIfChosen(std::ostream& out, std::ostream& err) {
    if (!command.parsed()) return;
    options.tracker = parseTrackerChoice(tracker);
    if (!pictureOptions.picture.empty()) options.sequence.picture = parsePicture(pictureOptions.picture);
    if (!pictureOptions.frameRate.empty()) {
      options.sequence.frameRate = parseOption("--fps", pictureOptions.frameRate, kFrameRates);
    }
    track(options, out, err);
  }

 private:
  CLI::App& command;
  TrackOptions options;
  std::string tracker = "vanilla";
  PictureOptions pictureOptions;
};

class SimulateCommand {
 public:
  explicit SimulateCommand(CLI::App& app)
      : command(*app.add_subcommand("simulate", "Make up a sequence: people cross a plaza, a detector watches them")) {
    addText(command, "-o,--output", options.folder, "Where the sequence goes")->required()->type_name("FOLDER");
    addText(command, "--seed", seed, "Another number gives other people")->type_name("N")->capture_default_str();
    addText(command, "--frames", frames, "Length of the sequence")->type_name("N")->capture_default_str();
    addText(command, "--people", people, "How many cross the plaza")->type_name("N")->capture_default_str();
    pictureOptions.addTo(command, "");
    command.footer(kSimulateHelp);
  }

  void runIfChosen() {
    if (!command.parsed()) return;
    options.seed = parseOption("--seed", seed, Range<std::uint64_t>{0, std::numeric_limits<std::uint64_t>::max()});
    options.frames = parseOption("--frames", frames, kFrameCounts);
    options.people = parseOption("--people", people, Range<int>{1, 1000});
    options.picture = parsePicture(pictureOptions.picture);
    options.frameRate = parseOption("--fps", pictureOptions.frameRate, kFrameRates);
    simulate(options);
  }

 private:
  CLI::App& command;
  SimulationOptions options;
  std::string seed = "1";
  std::string frames = "300";
  std::string people = "10";
  PictureOptions pictureOptions = {"1280x720", "25"};
};

void print(const std::string& text, std::ostream& out) {
  const auto output = openStream(out);
  output->write(text);
  output->finish();
}

/// Finds out what was asked for, and does it.
void dispatch(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  CLI::App app(kAbout, "nivra");
  app.set_version_flag("--version",
                       fmt::format("nivra {}.{}.{}", NIVRA_VERSION_MAJOR, NIVRA_VERSION_MINOR, NIVRA_VERSION_PATCH));
  app.require_subcommand(1);
  TrackCommand trackCommand(app);
  SimulateCommand simulateCommand(app);
  const CLI::App* const parameters = app.add_subcommand("parameters", "List the parameters of all trackers");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& fault) {
    if (fault.get_exit_code() != 0) throw UsageError(fault.what());
    std::ostringstream help;
    app.exit(fault, help, err);
    print(help.str(), out);
    return;
  }
  trackCommand.runIfChosen(out, err);
  simulateCommand.runIfChosen();
  if (parameters->parsed()) print(listParameters(), out);
}

}  // namespace

int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  const auto fail = [&err](int code, const char* what) {
    err << "error: " << what << '\n';
    return code;
  };
  try {
    dispatch(argc, argv, out, err);
    return 0;
  } catch (const ReaderGone&) {
    return 0;
  } catch (const UsageError& error) {
    return fail(2, error.what());
  } catch (const std::exception& error) {
    return fail(1, error.what());
  } catch (...) {
    return fail(1, "unknown fault");
  }
}

}  // namespace nivra::tool
