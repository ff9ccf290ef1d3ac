#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "hostkit/evaluation/figures.h"
#include "hostkit/evaluation/inputs.h"
#include "hostkit/evaluation/preprocessing.h"
#include "hostkit/tracking/tracking.h"

namespace nivra::hostkit {

/// Detections, and the truth about them.
struct TunedInput : TrackInput {
  IdentityInput truth;
};

/// A sequence and its truth in memory, to see again and again what trackers make of it.
class TunedSequence {
 public:
  /// @param preprocessing What the truth is made for, if not given.
  /// @throws FileError, naming the place, for what can't be read, bad lines and several cameras.
  TunedSequence(const TunedInput& input, const AnswerOptions& options, std::optional<Preprocessing> preprocessing);

  /// The figures of a new tracker's reports, as they are of the file that they would be written to.
  Figures evaluate(const TrackerRecipe& recipe) const;

  const std::string& name() const { return sequenceName; }
  std::size_t frameCount() const { return frames; }

 private:
  /// Adds a frame's tracks to those of the sequence.
  void addRows(int number, const std::vector<TrackReport>& reports, IdentifiedSequence& tracks) const;

  std::string sequenceName;
  std::vector<Record> records;  // frames and movements
  std::size_t frames = 0;
  std::optional<double> frameRate;  // to number frames by their times; they are counted without it
  std::optional<PictureSize> picture;
  CameraSettings settings;
  ReportPolicy policy;
  std::vector<int> truthFrames;
  std::vector<Truth> truth;  // one
};

}  // namespace nivra::hostkit
