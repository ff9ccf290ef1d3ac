#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "hostkit/formats/format.h"
#include "hostkit/formats/frameReasons.h"
#include "hostkit/formats/identities.h"
#include "hostkit/tracking/tracking.h"

namespace nivra::hostkit {

/// A frame of a camera: who took which detection, and what else has to be known to say why.
struct ChronicleFrame {
  struct Taking {
    std::int32_t track = -1;
    std::size_t detection = 0;
  };

  int number = 0;  // from 1
  std::uint64_t timestamp = 0;
  std::vector<Taking> takings;  // by their tracks
  FrameReasons reasons;         // those that may matter: changes, and of pairs the nearest that came to nothing

  std::optional<std::int32_t> takerOf(std::size_t detection) const;
  std::optional<std::size_t> detectionOf(std::int32_t track) const;
};

/// From when to when a track was, and where it was seen last.
struct ChronicleLife {
  std::size_t first = 0;  // positions of frames
  std::size_t lastSeen = 0;
  std::optional<std::size_t> end;  // when it was taken out
  bool wasCutOff = false;          // by the end of its camera, which began anew
  Box firstBox;
  Box lastBox;
};

/// What a tracker made of one camera of an input. Where the camera begins anew, its identities go on counting.
class Chronicle {
 public:
  /// @param number Of the frame, from 1; above that of the frame before.
  /// @param keepsAll Whether all of its reasons are kept.
  void add(int number, const Frame& frame, const FrameTracks& result, bool keepsAll = false);

  /// The camera has ended, and may begin anew with another tracker.
  void cutOff();

  const std::vector<ChronicleFrame>& frames() const { return allFrames; }
  const std::map<std::int32_t, ChronicleLife>& lives() const { return allLives; }

  /// The position of a frame by its number.
  std::optional<std::size_t> find(int number) const;
  double secondsAt(std::size_t frame) const;
  /// The last frame before this one in which a track took a detection.
  std::optional<std::size_t> lastSeenBefore(std::int32_t track, std::size_t frame) const;
  /// What is told of a track's change in a frame; null if there was no such change.
  const TrackExplanation* changeAt(std::size_t frame, std::int32_t track, TrackExplanation::Change change) const;

  /// What the present tracker's identities are counted from.
  std::int32_t firstId() const { return firstOfTracker; }

 private:
  void follow(const TrackReport& report, ChronicleFrame& kept);

  std::vector<ChronicleFrame> allFrames;
  std::map<std::int32_t, ChronicleLife> allLives;
  std::int32_t firstOfTracker = 0;
};

struct ChronicleOptions {
  const TrackOptions& track;
  const std::string& camera;  // empty for the only one
  bool withReasons;
  bool withTracks;
  std::optional<int> wholeFrame;  // of which all reasons are kept
};

/// A chronicle of an input.
struct ReadChronicle {
  Chronicle chronicle;
  IdentifiedSequence tracks;   // what is told of them, if it is asked for
  std::size_t badRecords = 0;  // refused, or no records at all
};

/// Tracks the input from beginning to end.
/// @throws UsageError where there is no such camera, or several and none is named; FileError where there are no frames.
/// @param messages Takes warnings; null if they have been told.
ReadChronicle chronicleOf(const ChronicleOptions& options, const TrackerRecipe& recipe, std::ostream* messages);

}  // namespace nivra::hostkit
