#include "hostkit/formats/frameTimes.h"

#include <fmt/format.h>

#include <cmath>

#include "hostkit/errors.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

std::uint64_t timestampOf(int frame, double frameRate) {
  return static_cast<std::uint64_t>(std::llround((frame - 1) * 1e9 / frameRate));
}

int FrameNumbering::next(std::uint64_t timestamp) {
  if (!start) start = timestamp;
  double number = lastNumber + 1.0;
  if (frameRate) number = std::round(static_cast<double>(timestamp - *start) * *frameRate / 1e9) + 1.0;
  if (number > kMostFrames) throw FileError(fmt::format("timestamp {} is beyond frame {}", timestamp, kMostFrames));
  if (number <= lastNumber) {
    throw FileError(fmt::format("timestamp {} makes another frame {}: --fps takes the input's own frame rate",
                                timestamp, lastNumber));
  }
  return lastNumber = static_cast<int>(number);
}

}  // namespace nivra::hostkit
