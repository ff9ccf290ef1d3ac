#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "hostkit/formats/format.h"
#include "hostkit/formats/frameTimes.h"

namespace nivra::hostkit {

/// Numbers the frames of cameras and writes a row in pixels for each track that is seen in them.
class TrackRowWriter : public TrackWriter {
 public:
  /// @param rowFormat Outlives the writer.
  TrackRowWriter(const Format& rowFormat, const WriteSettings& writeSettings)
      : format(rowFormat), settings(writeSettings) {}

  /// @throws FileError when the format has no place for the camera or for the frame's number, UsageError when the frame
  /// isn't in pixels.
  void frame(const Frame& frame, const FrameTracks& result, TextBuffer& lines) final;
  void motion(const CameraMotion&, TextBuffer&) final {}
  void end(const CameraEnd& end, const std::set<int>& removedIds, TextBuffer& lines) final;
  bool fault(const BadLine&, TextBuffer&) final { return false; }
  void dropped(const std::vector<std::string>& names) final;
  std::uint64_t leftOut() const final { return outside; }

 protected:
  struct Row {
    const Frame& frame;
    const TrackedObjectDetection& track;
    int number;        // of the frame, from 1
    std::int64_t id;   // from 0, distinct within the camera
    PixelBox box;      // has an area
    float confidence;  // as the input counts
  };

  virtual void append(const Row& row, TextBuffer& lines) const = 0;

 private:
  struct Camera {
    FrameNumbering numbering;
    std::int64_t firstId = 0;  // of its present tracker
    std::int64_t nextId = 0;
  };

  Camera& cameraOf(const Frame& frame);

  const Format& format;
  WriteSettings settings;
  std::map<std::string, Camera> cameras;
  std::uint64_t outside = 0;
};

}  // namespace nivra::hostkit
