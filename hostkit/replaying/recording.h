#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "hostkit/counting/cameraEvents.h"
#include "hostkit/counting/zones.h"
#include "hostkit/evaluation/inputs.h"
#include "hostkit/evaluation/preprocessing.h"
#include "hostkit/evaluation/sequenceMatching.h"
#include "hostkit/explaining/telling.h"
#include "hostkit/formats/identities.h"
#include "hostkit/tracking/tracking.h"

namespace nivra::hostkit {

/// A tracker that detections are handed to, and how it is called.
struct NamedRecipe {
  std::string name;
  TrackerRecipe recipe;
};

/// Tracks that somebody made already.
struct NamedTracks {
  std::string name;
  IdentityInput input;
};

struct RecordingOptions {
  TrackOptions track;  // whose inputs are detections
  std::vector<NamedRecipe> recipes;
  std::vector<NamedTracks> tracks;
  IdentityInput truth;                         // if it is given
  std::optional<Preprocessing> preprocessing;  // what the truth of each sequence is made for, if not given
  Zones zones;                                 // that are watched
  bool reasons = false;                        // whether trackers are asked why they do what they do
};

/// A box that the detector found.
struct RecordedDetection {
  PixelBox box;
  float score = 0.0F;  // percent
  int label = 0;       // in `RecordedCamera::labels`
};

/// What is counted from a frame on.
struct RecordedCounts {
  int frame = 0;  // from 1
  Counts counts;
};

/// Why identities are what they are.
struct RecordedReasons {
  std::vector<Told> lives;     // one after the other
  std::vector<Told> switches;  // those of the matching, in its order
};

/// What one tracker made of a camera.
struct RecordedTracks {
  std::string name;
  IdentifiedSequence sequence;               // in pixels; labels are the camera's
  std::vector<IdentifiedRow> lost;           // people who are out of sight, but may be recognised
  std::optional<SequenceMatching> matching;  // if there is truth
  std::optional<RecordedReasons> reasons;    // if they were asked for, of detections that were tracked here
  std::vector<RecordedCounts> counts;        // whenever they change; of detections that were tracked here
};

/// All that is to be seen of a camera.
struct RecordedCamera {
  std::string name;
  PictureSize picture;
  bool inPixels = true;  // else the picture's size is made up
  int frameCount = 0;
  std::vector<double> seconds;  // when each frame was, since the first one
  std::vector<std::string> labels;
  std::vector<std::vector<RecordedDetection>> detections;  // of each frame; empty if nobody tells them
  std::vector<RecordedTracks> runs;
  std::optional<IdentifiedSequence> truth;  // in pixels; labels are the camera's
  Preprocessing preprocessing = Preprocessing::none;
  Zones zones;  // those of this camera
};

struct Recording {
  std::vector<RecordedCamera> cameras;
  std::string complaint;  // what is wrong with files that have bad lines; empty if all is well
};

/// @param name Empty for the only one.
/// @throws UsageError, FileError if there is no such camera.
const RecordedCamera& cameraNamed(const Recording& recording, const std::string& name);

/// Tracks the detections with each of the recipes, reads tracks and truth, and compares the two.
///
/// Tracks and truth belong to the camera of their name; where there is one on either side, to that.
/// @throws FileError for inputs that cannot be read, or when there is nothing to be seen.
Recording record(const RecordingOptions& options, std::ostream& err);

}  // namespace nivra::hostkit
