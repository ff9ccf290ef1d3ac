#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame.h"
#include "output.h"

namespace nivra::tool {

/// What the caller says about an input; it takes precedence over what the input says of itself.
struct ReadSettings {
  std::optional<PictureSize> picture;
  std::optional<double> frameRate;
  std::string label = "human";                   // of detections that come without
  std::map<std::int64_t, std::string> category;  // the labels of numbered categories
};

/// Hands out an input record by record.
class Reader {
 public:
  Reader() = default;
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  virtual ~Reader() = default;

  /// @param record Takes the next one; what it holds may be reused.
  /// @return False at the end of the input.
  /// @throws FileError when the input cannot be read on.
  virtual bool read(Record& record) = 0;

  /// How much of the input has been read, from 0 to 1; nothing when nobody knows how long it is.
  virtual std::optional<double> progress() const { return std::nullopt; }
};

/// What came of one frame.
struct TrackedFrame {
  Frame frame;
  std::vector<internal::DebugTrack> tracks;  // `lastDetectionId` is a position in `frame`, or -1
  TrackUpdateResult changes;
  std::vector<std::string> unassociated;  // labels that no association covers, when the camera first shows them
};

/// Writes detections: what a reader handed out, in the same or in another format.
class DetectionWriter {
 public:
  DetectionWriter() = default;
  DetectionWriter(const DetectionWriter&) = delete;
  DetectionWriter& operator=(const DetectionWriter&) = delete;
  virtual ~DetectionWriter() = default;

  /// @throws FileError when the format cannot hold the record.
  virtual void write(const Record& record) = 0;
  virtual void finish() = 0;
};

}  // namespace nivra::tool
