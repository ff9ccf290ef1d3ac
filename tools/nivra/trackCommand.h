#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "parameters.h"
#include "sequence.h"

namespace nivra::tool {

struct TrackOptions {
  std::string input;
  std::string outputFile;  // empty for the standard output
  SequenceSettings sequence;
  TrackerChoice tracker;
  std::vector<std::string> params;
  bool confidentOnly = false;
  bool quiet = false;
};

/// Tracks a sequence from beginning to end.
/// @param out Takes the tracks when no file is named.
/// @param err Takes the summary.
void track(const TrackOptions& options, std::ostream& out, std::ostream& err);

}  // namespace nivra::tool
