#include "recordingOptions.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/formats.h"
#include "nivra/presets.h"

namespace nivra::tool {

namespace {

bool isPreset(const std::string& word) {
  const std::vector<std::string> all = presetNames();
  return std::find(all.begin(), all.end(), word) != all.end();
}

/// The tracker that "NAME SETTING ..." describes: settings with an equals sign are parameters, others presets or files.
TrackerOptions parseBeside(const std::string& text) {
  TrackerOptions tracker;
  std::istringstream words(text);
  std::string word;
  words >> word;
  tracker.choice = parseTrackerChoice(word);
  while (words >> word) {
    if (word.find('=') != std::string::npos) {
      tracker.params.push_back(word);
    } else if (isPreset(word)) {
      tracker.preset = word;
    } else {
      tracker.paramsFiles.push_back(word);
    }
  }
  return tracker;
}

/// How a tracker is called: by all that was said of it.
std::string nameOf(const TrackerOptions& tracker) {
  std::string name(tracker.choice.name);
  if (!tracker.preset.empty()) name += " " + tracker.preset;
  for (const std::string& each : tracker.paramsFiles) name += " " + hostkit::nameOf(std::filesystem::path(each));
  for (const std::string& each : tracker.params) name += " " + each;
  return name;
}

}  // namespace

void RecordingArguments::addTo(Command& command) {
  command.addTexts("INPUT|TRACKS", inputs, "", "Detections, as track takes them, or tracks")->allow_extra_args();
  input.addTo(command);
  tracker.addTo(command);
  addTrackingOptions(command, options.track);
  command.addTexts(
      "--beside", beside, "\"NAME SETTING ...\"",
      "Another tracker for the same detections, with a preset, files and values of parameters; may be repeated");
  command.addEachParsed("--tracks", "NAME=PATH", "Tracks and how they are called; may be repeated",
                        [this](const std::string& text) { named.push_back(parseAssignment("--tracks", text)); });
  command.addText("--truth", options.truth.path, "PATH", "The truth: a file, a sequence folder, or a folder of these");
  command.addText("--truth-from", truthFrom, "FORMAT", "Format of the truth, told from what it holds if not given");
  command.addParsed("--preprocess", "KIND", "auto, none, mot17 or mot20, as eval has them; auto if not given",
                    [this](const std::string& text) {
                      if (text != "auto") options.preprocessing = parsePreprocessing("--preprocess", text);
                    });
}

void RecordingArguments::addZonesTo(Command& command) {
  command.addParsed("--zones", "FILE",
                    "Zones and lines to be drawn, with what trackers count there; see docs/events.md",
                    [this](const std::string& text) { options.zones = readZones(text); });
}

void RecordingArguments::addReasonsTo(Command& command) {
  command.addFlag("--no-reasons", hasNoReasons,
                  "Leave out why identities begin, change and end, which takes time for large crowds");
  options.reasons = true;
}

Recording RecordingArguments::record(const Streams& streams) {
  options.track.read = input.settings;
  if (hasNoReasons) options.reasons = false;
  if (inputs.empty() && named.empty()) inputs.push_back(kStandardInput);
  for (const std::string& path : inputs) {
    const Format& format = input.formatOf(path, streams.err);
    if (holdsTracks(path, format)) {
      options.tracks.push_back({hostkit::nameOf(std::filesystem::path(path)), {path, &format}});
    } else {
      options.track.inputs.push_back({path, &format});
    }
  }
  for (const auto& [name, path] : named) options.tracks.push_back({name, {path, &input.formatOf(path, streams.err)}});
  if (!truthFrom.empty()) options.truth.format = &formatNamed("--truth-from", truthFrom);
  addRecipes(streams.err);
  return hostkit::record(options, streams.err);
}

/// Detections beside tracks are tracked when a tracker is named.
void RecordingArguments::addRecipes(std::ostream& err) {
  const bool isNamed = tracker.isChosen || !beside.empty();
  if (options.track.inputs.empty() && isNamed) throw UsageError("there are no detections to be tracked");
  if (options.tracks.empty() || tracker.isChosen) options.recipes.push_back({nameOf(tracker), tracker.recipe(err)});
  for (const std::string& each : beside) {
    const TrackerOptions other = parseBeside(each);
    options.recipes.push_back({nameOf(other), other.recipe(err)});
  }
  const bool hasStream = std::any_of(options.track.inputs.begin(), options.track.inputs.end(),
                                     [](const TrackInput& each) { return each.path == kStandardInput; });
  if (hasStream && options.recipes.size() > 1) throw UsageError("several trackers can't read the standard input");
}

}  // namespace nivra::tool
