#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "format.h"

namespace nivra::tool {

struct FrameDetection {
  int frame = 0;  // from 1
  ObjectDetection detection;
};

/// A camera's detections as files with numbered frames hold them.
struct Sequence {
  PictureSize picture;
  double frameRate = 0.0;
  int frameCount = 0;                      // frames without detections count too
  float percentPerConfidence = 1.0F;       // from the file's confidences to the library's percent
  std::vector<FrameDetection> detections;  // frames ascending; within a frame in the input's order
};

/// Sorts detections by frame, their scores still being confidences as they were read, and brings them into the
/// library's terms: confidences are fractions when all of them can be, and percent otherwise.
void finishSequence(Sequence& sequence);

/// Hands out every frame of a sequence at its time.
class SequenceReader final : public Reader {
 public:
  SequenceReader(std::string cameraName, Sequence readSequence);

  bool read(Record& record) override;
  std::optional<double> progress() const override;

 private:
  std::string camera;
  Sequence sequence;
  int framesRead = 0;
  std::size_t position = 0;  // of the next frame's first detection
};

}  // namespace nivra::tool
