#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "hostkit/formats/picture.h"
#include "nivra/nivra.h"

namespace nivra::hostkit {

/// All detections of one camera at one time, in the library's terms.
struct Frame {
  std::string camera;
  std::optional<std::uint64_t> timestamp;  // ns
  /// Given when the detections came in pixels of this picture; what is told of them is then in pixels too.
  std::optional<PictureSize> picture;
  float percentPerConfidence = 100.0F;      // what a confidence of 1 stands for in formats that don't count in percent
  std::vector<ObjectDetection> detections;  // each with its position here as its `id`
  /// The host's own names of the detections, as JSON; empty if it named none of them, else one each.
  std::vector<std::string> names;
};

/// The camera has moved: a point (x, y) of the old picture is now at (ax + by + c, dx + ey + f).
struct CameraMotion {
  std::string camera;
  std::optional<PictureSize> picture;  // given when the map is one of pixels
  std::array<double, 6> matrix = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0};
};

/// No more of this camera is to come.
struct CameraEnd {
  std::string camera;
};

/// A line of the input that says none of these.
struct BadLine {
  std::uint64_t line = 0;  // from 1
  std::string field;       // such as "detections[3].box[2]"; empty for the line as a whole
  std::string message;
};

using Record = std::variant<Frame, CameraMotion, CameraEnd, BadLine>;

}  // namespace nivra::hostkit
