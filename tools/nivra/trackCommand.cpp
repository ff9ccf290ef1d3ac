#include <memory>

#include "commandOptions.h"
#include "commands.h"
#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/tracking/tracking.h"

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
                bbox and score; with --picture and --fps. Or an object with such
                an array as annotations or instances, and images and categories.
  yolo, kitti   A folder with a text file for each frame, or one file of KITTI's
                tracking; with --picture and --fps.
  csv           A table with a line of column names; with --picture and, without
                times, --fps.
  results       A JSON array of objects with name, class, confidence and box for
                each frame, in a file each or in an array of them; with --picture
                and --fps. docs/formats.md tells more of these.
  Each input is tracked by itself. Files may be packed by gzip.

What comes out
  jsonl         One line for every input line, at once: the tracks of the frame,
                with identity, box, velocity, scores and the detection they took.
  motchallenge  One line a track and frame:
                    frame,id,left,top,width,height,conf,-1,-1,-1
                Those of which nothing is left in the picture have none.
  csv           Likewise a row, below a line of names: camera, frame, timestamp_ns,
                id, label, score, confident, left, top, width, height.
  kitti         Likewise a line of KITTI's tracking, labels being words.
  FILE appears when the whole output is written, packed if its name ends in .gz;
  a FOLDER, which exists or ends in a slash, gets a file for each input, named
  after it.

What is told
  Files are known to their end: told are the tracks that are confirmed at some
  time, from their first detection until 0.1 s after their last one, with the
  boxes that were detected. That scores best where the truth is known. Streams are
  answered at once: told are all tracks from their first detection on, with a flag
  for those that are confirmed. Each of this may be chosen otherwise:
    --report all        Every track from its first detection on.
    --report confident  Those that are confirmed, from then on.
    --report settled    Those that are confirmed at some time, all of them. In a
                        stream, --delay says how late the answers come; what is
                        confirmed by then is told.
    --hold TIME         Until so long after the last detection: 0 for tracks with a
                        detection only, always for as long as there are tracks.
    --fill TIME         Gaps of up to that between the detections of a track are
                        filled by a straight way. In files only.
    --boxes KIND        detected or smoothed, where there is a detection.
  Who comes back and is recognised has one identity in settled tracks; else the
  identity until then is another, and "merged" tells which one it becomes.

Events
  With --events comes what happens instead of tracks: a line of JSON for each
  identity that is confirmed, lost, revived, merged or ended, for each zone that is
  entered or left and line that is crossed, and counts in which each person is one.
  docs/events.md tells what FILE of --zones holds.

Labels
  Tracks take detections by the associations of labels alone. In files, labels
  that are not mentioned associate with themselves. In streams, only --labels and
  --associate count (--label if neither is given), and a label that none of them
  covers is not tracked, but named once, as "unassociated".

Moving cameras
  With --stabilise auto, which needs not be given, the movement of a camera is
  estimated from its detections, if it is found to move and nothing else tells.
  It takes four people or more; as long as a camera seems to stand, nothing is
  moved. Movements in a stream take the place of this.

Parameters
  --preset steady is for cameras that stand and detectors that seldom miss anybody,
  flickering for detectors that lose people for some frames and for cameras that
  move. What --params and --param say goes on top.
  nivra params --tracker NAME lists those of a tracker, in the form that --params
  takes: lines "section.name = value", which may end in " # comment". Of several
  values the last one holds, those of --param after those of all files.

States
  With --state FILE, identities survive the process: the trackers of one input go on
  from what FILE holds, if it is there, and it is replaced when the tracks are
  written: at the end, which SIGTERM and SIGINT bring about, and every TIME of
  --state-every, for tracks that are shown at once. When the input is given again
  from its beginning, what was answered before is passed over. Files are told as
  streams are. docs/streams.md tells more.

Examples
  Track a sequence folder:
      nivra track examples/data/plaza -o plaza.txt
  Track a bare detection file:
      nivra track det.txt --picture 1920x1080 --fps 30 -o tracks.txt
  Track the cameras of a stream as they come:
      detector | nivra track --labels human,car --tracker hybrid | consumer
  Track with parameters for a detector that flickers:
      nivra track det.txt --picture 1920x1080 --fps 30 --preset flickering
  Keep identities through restarts, whatever ends the process:
      detector | nivra track --state gate.state --state-every 1s >> tracks.jsonl
  Keep the parameters of a site in a file:
      nivra params --tracker reid > site.params
      nivra track examples/data/plaza --tracker reid --params site.params
  Count who crosses the lines of a file, each hour:
      nivra track day.jsonl --events --zones zones.json --every 1h
  Let cars take what was taken for trucks:
      nivra track day.jsonl.gz --associate car=car,truck -o day-tracks.jsonl.gz

Exit code: 0 for success, 1 for a fault of input or output and for files with bad
lines, all others of which are answered, 2 for a wrong call.)";

constexpr Range<double> kIdleSeconds = {0.001, 1e9};

struct Arguments {
  TrackOptions options;
  std::vector<std::string> inputs;
  TrackerOptions tracker;
  InputOptions input;
  OutputOptions output;
  bool tellsEvents = false;
  std::string zones;
  std::optional<std::uint64_t> every;
  bool quiet = false;
};

std::optional<EventOptions> eventOptionsOf(const Arguments& given) {
  if (!given.tellsEvents) {
    if (!given.zones.empty()) throw UsageError("--zones is for --events");
    if (given.every) throw UsageError("--every is for --events");
    return std::nullopt;
  }
  if (given.every == 0U) throw UsageError("--every 0: expected a time above 0");
  return EventOptions{given.zones.empty() ? Zones() : readZones(given.zones), given.every};
}

void run(Arguments& given, const Streams& streams) {
  TrackOptions& options = given.options;
  options.read = given.input.settings;
  options.events = eventOptionsOf(given);
  const Target target = given.output.target(streams.out);
  const bool wouldMix = target.path.empty() && streams.outIsTerminal;
  options.progress = given.quiet || wouldMix ? nullptr : streams.terminal;
  const TrackerRecipe recipe = given.tracker.recipe(streams.err);
  if (given.inputs.empty()) given.inputs.push_back(kStandardInput);
  for (const std::string& path : given.inputs)
    options.inputs.push_back({path, &given.input.formatOf(path, streams.err)});
  track(options, recipe, target, streams.err);
}

}  // namespace

void addTrackCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<Arguments>();
  TrackOptions& options = given->options;
  Command command(app, "track", "Turn detections into tracks with stable identities", kHelp);
  command.addTexts("INPUT", given->inputs, "", "Files, sequence folders, or - for standard input (if none is given)")
      ->allow_extra_args();
  given->output.addTo(command, "FILE|FOLDER", "Where the tracks go; standard output if not given or -");
  given->input.addTo(command);
  command.addText("--to", options.to, "FORMAT", "Format of the output: jsonl, motchallenge, kitti or csv");
  given->tracker.addTo(command);
  addAnswerOptions(command, options);
  command.addParsed("--fill", "TIME", "Longest gap of a track that is filled, in files; 0 if not given",
                    [&options](const std::string& text) { options.report.fill = parseTime("--fill", text); });
  command.addParsed("--delay", "TIME", "By how much settled tracks of a stream are told late",
                    [&options](const std::string& text) { options.report.delay = parseTime("--delay", text); });
  command.addFlag("--events", given->tellsEvents, "Tell what happens to identities instead of tracks, in jsonl");
  command.addText("--zones", given->zones, "FILE", "Zones and lines to count at, with --events");
  command.addParsed("--every", "TIME", "Count every so often, with --events; at the end alone if not given",
                    [given](const std::string& text) { given->every = parseTime("--every", text); });
  command.addParsed("--idle-timeout", "SECONDS", "Let go of a stream's cameras of which nothing came for so long",
                    [&options](const std::string& text) {
                      const std::chrono::duration<double> seconds(parseOption("--idle-timeout", text, kIdleSeconds));
                      options.mostIdle = std::chrono::duration_cast<std::chrono::nanoseconds>(seconds);
                    });
  command.addText("--state", options.state, "FILE",
                  "Go on from the states of the trackers in FILE, and leave them there");
  command.addParsed("--state-every", "TIME", "Write them so often, too, and not at the end alone",
                    [&options](const std::string& text) {
                      options.stateEvery = std::chrono::nanoseconds(parseTime("--state-every", text));
                    });
  command.addFlag("--strict", options.strict, "End with the first bad line");
  command.addFlag("--verbose", options.verbose, "Summary on standard error");
  command.addFlag("--quiet", given->quiet, "No progress on a terminal");
  command.whenChosen([given, streams] { run(*given, streams); });
}

}  // namespace nivra::tool
