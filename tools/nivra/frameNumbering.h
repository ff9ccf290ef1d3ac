#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

#include <fmt/format.h>

#include "errors.h"
#include "numbers.h"

namespace nivra::tool {

/// Numbers the frames of a camera from 1: by their times when the frame rate is known, else by counting.
class FrameNumbering {
 public:
  explicit FrameNumbering(std::optional<double> knownFrameRate) : frameRate(knownFrameRate) {}

  /// @param timestamp Of the next frame, newer than the last one.
  /// @throws FileError when there is no number for it.
  int next(std::uint64_t timestamp) {
    if (!first) first = timestamp;
    double number = last + 1.0;
    if (frameRate) number = std::round(static_cast<double>(timestamp - *first) / 1e9 * *frameRate) + 1.0;
    if (number > kMostFrames) throw FileError(fmt::format("timestamp {}: beyond frame {}", timestamp, kMostFrames));
    if (number <= last) {
      throw FileError(fmt::format("timestamp {}: a second frame {}; --fps is too small", timestamp, last));
    }
    last = static_cast<int>(number);
    return last;
  }

 private:
  std::optional<double> frameRate;
  std::optional<std::uint64_t> first;
  int last = 0;
};

}  // namespace nivra::tool
