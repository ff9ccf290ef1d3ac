#pragma once

#include <cstdint>
#include <optional>

namespace nivra::hostkit {

/// The time of a frame, counted from 1, in ns; the first one is at 0.
std::uint64_t timestampOf(int frame, double frameRate);

/// Numbers the frames of a camera from 1: by their times when the frame rate is known, else by counting.
class FrameNumbering {
 public:
  /// @param startTime When the first frame would be; when it is, if not given.
  FrameNumbering(std::optional<double> knownFrameRate, std::optional<std::uint64_t> startTime)
      : frameRate(knownFrameRate), start(startTime) {}

  /// @param timestamp Of the next frame, newer than the last one.
  /// @throws FileError when there is no number for it.
  int next(std::uint64_t timestamp);

  /// The number given last; 0 before the first.
  int last() const { return lastNumber; }

 private:
  std::optional<double> frameRate;
  std::optional<std::uint64_t> start;
  int lastNumber = 0;
};

}  // namespace nivra::hostkit
