#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "nivra/nivra.h"
#include "picture.h"

namespace nivra::tool {

/// What the caller says about a sequence; it takes precedence over what the input says.
struct SequenceSettings {
  std::optional<PictureSize> picture;
  std::optional<double> frameRate;
  std::string label = "human";
};

struct FrameDetection {
  int frame = 0;  // from 1
  ObjectDetection detection;
};

/// A camera's detections in the library's terms.
struct Sequence {
  PictureSize picture;
  double frameRate = 0.0;
  int frameCount = 0;
  float percentPerConfidence = 1.0F;       // from the file's confidences to the library's percent
  std::vector<FrameDetection> detections;  // frames ascending; within a frame in the input's order
};

/// A file format; each lives in a file of its own.
struct Format {
  /// @throws FileError or UsageError when `input` cannot be used, without having changed anything.
  Sequence (*read)(const std::filesystem::path& input, const SequenceSettings& settings);
  /// The lines that report one frame of `sequence`.
  std::string (*formatTracks)(int frame, const std::vector<TrackedObjectDetection>& tracks, const Sequence& sequence);
};

}  // namespace nivra::tool
