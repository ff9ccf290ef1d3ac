#pragma once

#include <string>
#include <vector>

#include "commandOptions.h"
#include "commands.h"
#include "hostkit/replaying/recording.h"

namespace nivra::tool {

/// What commands that show recordings take: inputs of either kind, trackers, and a truth.
struct RecordingArguments {
  void addTo(Command& command);

  /// --zones, for commands that show them.
  void addZonesTo(Command& command);

  /// Asks trackers for their reasons, unless --no-reasons is given.
  void addReasonsTo(Command& command);

  /// Tracks the detections and reads the rest.
  /// @throws UsageError for what doesn't go together, and what `hostkit::record` throws.
  Recording record(const Streams& streams);

 private:
  void addRecipes(std::ostream& err);

  RecordingOptions options;
  InputOptions input;
  TrackerOptions tracker;
  std::vector<std::string> inputs;
  std::vector<std::string> beside;
  std::vector<std::pair<std::string, std::string>> named;  // tracks and their paths
  std::string truthFrom;
  bool hasNoReasons = false;
};

}  // namespace nivra::tool
