#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "hostkit/formats/format.h"
#include "hostkit/tracking/answers.h"
#include "hostkit/tracking/trackerRecipe.h"

namespace nivra::hostkit {

/// Detections in a file or another place to read from; or in memory.
struct TrackInput {
  std::string path;  // or how what is in memory is called
  const Format* format = nullptr;
  std::shared_ptr<const std::vector<Record>> records = nullptr;  // in memory; then there is no format

  std::unique_ptr<Reader> read(const ReadSettings& settings) const;
};

struct TrackOptions : AnswerOptions {
  std::vector<TrackInput> inputs;  // at least one
  std::string to;                  // name of the output's format; empty to follow the output's name or the inputs
  std::string state;               // the file that trackers go on from and leave their states in; empty for none
  std::optional<std::chrono::nanoseconds> stateEvery;  // how old what it holds may be; nothing for the whole run
  bool strict = false;
  bool verbose = false;
  std::ostream* progress = nullptr;  // a terminal, or null for silence
};

/// The labels of an input, if it can tell them before it is tracked.
std::optional<std::set<std::string>> knownLabels(const TrackOptions& options, const TrackInput& input);

/// Whether an input is there for reading again.
bool canBeReadTwice(const std::string& path);
bool canBeReadTwice(const TrackInput& input);

/// Tracks one input from beginning to end.
/// @param writer Keeps what comes of its records, and says nothing.
/// @return What is wrong with a file that has bad lines; empty if all is well.
std::string trackInput(const TrackInput& input, const TrackOptions& options, const TrackerRecipe& recipe,
                       std::unique_ptr<TrackWriter> writer, std::ostream& err);

/// Tracks the inputs one after the other, each with trackers of its own.
/// @param target A file, a folder that gets a file for each input, or the standard output.
/// @param err Takes warnings, and the summary if it is asked for.
/// @throws FileError also when lines of files were bad; all else is written then.
void track(const TrackOptions& options, const TrackerRecipe& recipe, const Target& target, std::ostream& err);

}  // namespace nivra::hostkit
