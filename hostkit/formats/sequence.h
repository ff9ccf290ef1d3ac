#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "hostkit/formats/format.h"

namespace nivra::hostkit {

struct FrameDetection {
  int frame = 0;  // from 1
  ObjectDetection detection;
  bool hasScore = true;
};

/// Some of a sequence's frames, those behind the ones before them.
struct CameraFrames {
  std::string camera;  // empty for the input's own name
  int count = 0;
};

/// A camera's detections as files with numbered frames hold them; or those of several, one after the other.
struct Sequence {
  PictureSize picture;
  double frameRate = 0.0;
  int frameCount = 0;                      // frames without detections count too
  std::vector<std::uint64_t> timestamps;   // of the frames, if they have times of their own
  std::vector<CameraFrames> cameras;       // if the input names them
  float percentPerConfidence = 1.0F;       // from the file's confidences to the library's percent
  std::vector<FrameDetection> detections;  // frames ascending; within a frame in the input's order

  /// @param frame From 1.
  /// @param score As the file has it; nothing if it doesn't tell.
  void add(int frame, const PixelBox& box, std::string label, std::optional<double> score);
};

/// A sequence without its detections, of an input that doesn't tell picture size and frame rate.
/// @throws UsageError when the caller doesn't either.
/// @param hasTimes Whether the input tells when its frames are, so that no frame rate is needed.
Sequence outlineOf(const std::string& input, const ReadSettings& settings, bool hasTimes = false);

/// Sorts detections by frame, their scores still being confidences as they were read, and brings them into the
/// library's terms: confidences are what the settings say, or else fractions when all of them can be, and percent
/// otherwise, of which the caller is warned. Those without a score are certain.
/// @param input Its name in the warning.
void finishSequence(Sequence& sequence, const std::string& input, const ReadSettings& settings);

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
  std::size_t cameraAt = 0;  // of those which the sequence names
  int framesBefore = 0;      // of the cameras before it
  std::size_t position = 0;  // of the next frame's first detection
};

}  // namespace nivra::hostkit
