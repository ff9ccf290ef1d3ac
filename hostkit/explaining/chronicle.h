#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "hostkit/formats/frameReasons.h"
#include "hostkit/formats/identities.h"
#include "hostkit/tracking/tracking.h"

namespace nivra::hostkit {

/// A frame of a camera: who took which detection, and what else has to be known to say why.
struct ChronicleFrame {
  int number = 0;  // from 1
  std::uint64_t timestamp = 0;
  std::unordered_map<std::size_t, std::int32_t> takerOf;      // of each detection
  std::unordered_map<std::int32_t, std::size_t> detectionOf;  // that each track took
  FrameReasons reasons;  // those that may matter: pairs of which at least one side came away empty or was outbid
};

/// From when to when a track was, and where it was seen last.
struct ChronicleLife {
  std::size_t first = 0;  // positions of frames
  std::size_t lastSeen = 0;
  std::optional<std::size_t> end;  // when it was taken out
  Box firstBox;
  Box lastBox;
};

/// What a tracker made of one camera of an input.
struct Chronicle {
  std::vector<ChronicleFrame> frames;
  std::map<std::int32_t, ChronicleLife> lives;
  IdentifiedSequence tracks;   // what is told of them, if it is asked for
  std::size_t badRecords = 0;  // refused, or no records at all

  /// The position of a frame by its number.
  std::optional<std::size_t> find(int number) const;
  double secondsAt(std::size_t frame) const;
  /// The last frame before this one in which a track took a detection.
  std::optional<std::size_t> lastSeenBefore(std::int32_t track, std::size_t frame) const;
};

struct ChronicleOptions {
  const TrackOptions& track;
  const std::string& camera;  // empty for the only one
  bool withReasons;
  bool withTracks;
  std::optional<int> wholeFrame;  // of which all reasons are kept
};

/// Tracks the input from beginning to end.
/// @throws UsageError where there is no such camera, or several and none is named; FileError where there are no frames.
/// @param messages Takes warnings; null if they have been told.
Chronicle chronicleOf(const ChronicleOptions& options, const TrackerRecipe& recipe, std::ostream* messages);

}  // namespace nivra::hostkit
