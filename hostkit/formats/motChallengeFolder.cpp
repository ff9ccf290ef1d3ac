#include "hostkit/formats/motChallengeFolder.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>

#include "hostkit/errors.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/appearanceFeatures.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

namespace {

namespace fs = std::filesystem;

double givenFrameRate(const WriteSettings& settings) {
  if (!settings.frameRate) throw UsageError("MOTChallenge folders number frames by their times: give --fps F");
  return *settings.frameRate;
}

const Target& givenFolder(const Target& target) {
  if (target.path.empty()) throw UsageError("MOTChallenge detections are a folder of files: -o names it");
  return target;
}

}  // namespace

std::string boxColumns(const PixelBox& box) {
  return fmt::format("{:.2f},{:.2f},{:.2f},{:.2f}", box.left, box.top, box.width, box.height);
}

MotChallengeFolder::MotChallengeFolder(const Target& folder, const WriteSettings& settings)
    : target(givenFolder(folder)),
      frameRate(givenFrameRate(settings)),
      numbering(frameRate, settings.start),
      detectionFile(openInside(target, "det/det.txt")),
      featureFile(openInside(target, "det/feat.bin")),
      descriptionFile(openInside(target, "seqinfo.ini")) {}

void MotChallengeFolder::write(const Record& record) {
  if (const auto* const frame = std::get_if<Frame>(&record)) {
    writeFrame(*frame);
  } else if (std::holds_alternative<CameraMotion>(record)) {
    refuse("has no place for camera motion: write JSON Lines instead");
  } else if (const auto* const bad = std::get_if<BadLine>(&record)) {
    refuse(fmt::format("cannot say what is wrong with the input (line {}{}{}: {}): mend the line or leave it out",
                       bad->line, bad->field.empty() ? "" : ", ", bad->field, bad->message));
  }
}

void MotChallengeFolder::writeFrame(const Frame& frame) {
  requirePlaceFor(frame);
  const int number = numbering.next(*frame.timestamp);
  for (const ObjectDetection& each : frame.detections) {
    if (!label) label = each.label;
    if (*label != each.label) {
      refuse(fmt::format("has no labels, but there are {} and {}: write JSON Lines instead", hostkit::quoted(*label),
                         hostkit::quoted(each.label)));
    }
    detectionFile->write(fmt::format("{},-1,{},{:.2f},-1,-1,-1\n", number, boxColumns(toPixels(each.box, *picture)),
                                     each.score / frame.percentPerConfidence));
    keepFeature(each);
  }
}

void MotChallengeFolder::requirePlaceFor(const Frame& frame) {
  if (!camera) camera = frame.camera;
  if (frame.camera != *camera) {
    refuse(fmt::format("holds one camera, but there are {} and {}: write JSON Lines instead, or one folder for each",
                       hostkit::quoted(*camera), hostkit::quoted(frame.camera)));
  }
  if (!frame.picture) refuse("is in pixels: give --picture WxH");
  if (!picture) picture = frame.picture;
  if (frame.picture->width != picture->width || frame.picture->height != picture->height) {
    refuse("holds one size of picture");
  }
  if (!frame.timestamp) refuse("numbers its frames by their times: give every frame a timestamp");
}

void MotChallengeFolder::keepFeature(const ObjectDetection& detection) {
  featuresFit = featuresFit && detection.feature && !detection.feature->empty() &&
                (features.empty() || features.back().size() == detection.feature->size());
  if (featuresFit) {
    features.push_back(*detection.feature);
  } else {
    features.clear();
  }
}

void MotChallengeFolder::finishFeatures() {
  if (!features.empty()) {
    featureFile->write(encodeFeatures(features));
    return featureFile->finish();
  }
  // An older file would be taken for that of the new detections.
  featureFile.reset();
  if (!target.replaces) return;
  const fs::path older = fs::path(target.path) / "det" / "feat.bin";
  std::error_code fault;
  fs::remove(older, fault);
  if (fault) throw FileError(fmt::format("cannot remove {}: {}", older.string(), fault.message()));
}

void MotChallengeFolder::finish() {
  if (numbering.last() == 0) refuse("needs at least one frame");
  descriptionFile->write(fmt::format("[Sequence]\nname={}\nframeRate={}\nseqLength={}\nimWidth={}\nimHeight={}\n",
                                     nameOf(target.path), frameRate, numbering.last(), picture->width,
                                     picture->height));
  finishAll({[&] { finishFeatures(); }, [&] { detectionFile->finish(); }, [&] { descriptionFile->finish(); }});
}

void MotChallengeFolder::refuse(const std::string& what) const {
  throw FileError(fmt::format("cannot write {}: a MOTChallenge folder {}", target.path, what));
}

}  // namespace nivra::hostkit
