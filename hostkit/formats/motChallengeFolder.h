#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hostkit/formats/format.h"
#include "hostkit/formats/frameTimes.h"

namespace nivra::hostkit {

/// Left, top, width and height as these files have them.
std::string boxColumns(const PixelBox& box);

/// Writes a MOTChallenge sequence folder: det/det.txt, seqinfo.ini, and det/feat.bin if every detection has an
/// appearance feature and all are of one length. It has room for the frames of one camera, which come in the order of
/// time and about one frame duration or a multiple of it apart, with detections of one label.
class MotChallengeFolder final : public DetectionWriter {
 public:
  /// @throws UsageError when the folder or the frame rate is not given.
  MotChallengeFolder(const Target& folder, const WriteSettings& settings);

  void write(const Record& record) override;
  /// @throws FileError as well when there was no frame.
  void finish() override;

 private:
  void writeFrame(const Frame& frame);
  void requirePlaceFor(const Frame& frame);
  void keepFeature(const ObjectDetection& detection);
  void finishFeatures();
  [[noreturn]] void refuse(const std::string& what) const;

  Target target;
  double frameRate;
  FrameNumbering numbering;
  std::unique_ptr<Output> detectionFile;
  std::unique_ptr<Output> featureFile;
  std::unique_ptr<Output> descriptionFile;
  std::optional<PictureSize> picture;
  std::optional<std::string> camera;
  std::optional<std::string> label;
  std::vector<std::vector<float>> features;
  bool featuresFit = true;
};

}  // namespace nivra::hostkit
