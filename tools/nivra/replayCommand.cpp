#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "commandOptions.h"
#include "commands.h"
#include "hostkit/replaying/page.h"
#include "recordingOptions.h"

namespace nivra::tool {

namespace {

constexpr char kHelp[] = R"(The page is one file that any current browser opens, offline: the picture with boxes,
identities and trails, below it a bar for each identity, and beside it what is known
of the one that is selected. All can be done by keys; ? lists them.

What goes in
  Detections are tracked, as track does it, and shown. Files of jsonl, motchallenge,
  kitti or csv that have identities are tracks; they are shown as they are, beside
  detections if those are given, too, which are then tracked only if --tracker or
  --beside asks for it. Several trackers stand side by side, in step. All that they
  report is shown, unless --report, --hold or --boxes asks for what files are told.
  Several cameras are chosen in the page. Tracks and truth are of the camera that is
  called as they are, or of the only one.

  Of detections that are tracked here, the page tells of each identity why it began,
  was lost, revived, merged or ended, and why it went without detections, as explain
  does.

With --truth
  The page shows who is found, missed or switched and which boxes are false, by the
  matching of eval, and its figures; and of each switch why it happened.

Examples
      nivra replay examples/data/plaza --tracker reid -o replay.html
      nivra replay examples/data/plaza --truth examples/data/plaza -o replay.html
          --tracker reid --beside vanilla --beside "reid reid.maxAgeActive=4.0"
      nivra replay day.jsonl.gz --video gate=gate.mp4 -o day.html
      nivra replay det.txt ours.txt theirs.txt --picture 1920x1080 --fps 30 -o both.html)";

struct Arguments {
  RecordingArguments recording;
  std::vector<std::string> pictures;
  std::vector<std::string> videos;
  bool embed = false;
  OutputOptions output;
};

/// Of an argument "[CAMERA=]PATH", whose footage it is and where; the camera may be left out if there is one.
std::pair<std::string, std::string> parseFootage(const char* option, const std::string& text,
                                                 const Recording& recording) {
  const auto equals = text.find('=');
  for (const RecordedCamera& each : recording.cameras) {
    if (equals != std::string::npos && text.substr(0, equals) == each.name) return {each.name, text.substr(equals + 1)};
  }
  if (recording.cameras.size() == 1) return {recording.cameras.front().name, text};
  throw UsageError(fmt::format("{} {}: there are several cameras, so say CAMERA=PATH", option, text));
}

Footage footageOf(const Arguments& given, const Recording& recording) {
  Footage footage;
  footage.isEmbedded = given.embed;
  footage.pageFolder =
      std::filesystem::absolute(given.output.path.empty() ? kStandardOutput : given.output.path).parent_path();
  for (const std::string& each : given.pictures) {
    const auto [camera, folder] = parseFootage("--pictures", each, recording);
    footage.cameras[camera].pictures = picturesIn(folder);
  }
  for (const std::string& each : given.videos) {
    const auto [camera, file] = parseFootage("--video", each, recording);
    footage.cameras[camera].video = videoAt(file);
  }
  return footage;
}

void run(Arguments& given, const Streams& streams) {
  const Recording recording = given.recording.record(streams);
  const Footage footage = footageOf(given, recording);
  const auto output = openOutput(given.output.target(streams.out));
  writePage(recording, footage, *output);
  output->finish();
  if (!recording.complaint.empty()) throw FileError(recording.complaint);
}

}  // namespace

void addReplayCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<Arguments>();
  Command command(app, "replay", "Write a page that shows tracks in a browser", kHelp);
  given->recording.addTo(command);
  given->recording.addZonesTo(command);
  given->recording.addReasonsTo(command);
  given->output.addTo(command, "FILE", "Where the page goes; standard output if not given or -");
  command.addTexts("--pictures", given->pictures, "[CAMERA=]FOLDER",
                   "A picture for each frame, to stand behind the boxes; may be repeated");
  command.addTexts("--video", given->videos, "[CAMERA=]FILE", "Likewise a video");
  command.addFlag("--embed", given->embed, "Copy pictures and video into the page, instead of referring to them");
  command.whenChosen([given, streams] { run(*given, streams); });
}

}  // namespace nivra::tool
