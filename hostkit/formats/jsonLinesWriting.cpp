#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/formats/jsonLines.h"
#include "hostkit/text/jsonText.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

namespace {

void appendClassification(TextBuffer& json, const Classification& classification) {
  appendField(json, R"({"label":)", classification.label, appendQuoted);
  appendField(json, R"(,"score":)", classification.score, appendNumber);
  json += '}';
}

void appendAttribute(TextBuffer& json, const AttributeClassification& attribute) {
  appendField(json, R"({"type":)", attribute.attributeType, appendWhole);
  appendField(json, R"(,"value":)", attribute.attributeValue, appendWhole);
  appendField(json, R"(,"score":)", attribute.score, appendNumber);
  json += '}';
}

void appendName(TextBuffer& json, const Frame& frame, std::int32_t position) {
  if (position < 0) {
    json += "null";
  } else if (frame.names.empty()) {
    appendWhole(json, position);
  } else {
    json += frame.names[static_cast<std::size_t>(position)];
  }
}

void beginLine(TextBuffer& json, const std::string& camera) {
  appendField(json, R"({"camera":)", camera, appendQuoted);
}

void appendPicture(TextBuffer& json, const std::optional<PictureSize>& picture) {
  if (picture) appendArrayField(json, R"(,"picture":)", std::array{picture->width, picture->height}, appendWhole);
}

void beginFrame(TextBuffer& json, const Frame& frame) {
  beginLine(json, frame.camera);
  if (frame.timestamp) appendField(json, R"(,"timestamp":)", *frame.timestamp, appendWhole);
  appendPicture(json, frame.picture);
}

void appendStrings(TextBuffer& json, std::string_view start, const std::vector<std::string>& texts) {
  if (!texts.empty()) appendArrayField(json, start, texts, appendQuoted);
}

class JsonTrackWriter final : public TrackWriter {
 public:
  explicit JsonTrackWriter(const WriteSettings& settings) : debug(settings.debug) {}

  void frame(const Frame& frame, const FrameTracks& result, TextBuffer& json) override {
    beginFrame(json, frame);
    appendArrayField(json, R"(,"tracks":)", result.tracks, [&](TextBuffer&, const TrackReport& report) {
      json += '{';
      appendTrack(json, frame, report.track, report.detectionId);
      json += '}';
    });
    if (debug) {
      appendArrayField(json, R"(,"debug":)", result.debugTracks,
                       [&](TextBuffer&, const auto& track) { appendDebug(json, frame, track); });
    }
    appendArrayField(json, R"(,"removed":)", result.changes.removedIds, appendWhole);
    appendArrayField(json, R"(,"merged":)", result.changes.mergedIds, [](TextBuffer& text, const auto& ids) {
      appendArray(text, std::array{ids.first, ids.second}, appendWhole);
    });
    appendStrings(json, R"(,"unassociated":)", result.unassociated);
    endLine(json);
  }

  void motion(const CameraMotion& motion, TextBuffer& json) override {
    beginLine(json, motion.camera);
    json += R"(,"motion":true)";
    endLine(json);
  }

  void end(const CameraEnd& end, const std::set<int>& removedIds, TextBuffer& json) override {
    beginLine(json, end.camera);
    appendArrayField(json, R"(,"end":true,"removed":)", removedIds, appendWhole);
    endLine(json);
  }

  bool fault(const BadLine& fault, TextBuffer& json) override {
    appendFault(json, fault);
    endLine(json);
    return true;
  }

  void dropped(const std::vector<std::string>& cameras) override { droppedCameras = cameras; }

  bool remembers() const override { return false; }

 private:
  static void appendTrack(TextBuffer& json, const Frame& frame, const TrackedObjectDetection& track,
                          std::int32_t detection) {
    appendField(json, R"("id":)", track.id, appendWhole);
    json += R"(,"detection":)";
    appendName(json, frame, detection);
    appendField(json, R"(,"label":)", track.label, appendQuoted);
    appendField(json, R"(,"score":)", track.score, appendNumber);
    json += R"(,"confident":)";
    json += track.confident ? "true" : "false";
    json += R"(,"box":)";
    appendBox(json, track.box, frame.picture);
    json += R"(,"velocity":)";
    appendExtent(json, frame, track.velocityX, track.velocityY, -1.0);
    appendArrayField(json, R"(,"classifications":)", track.classifications, appendClassification);
    appendArrayField(json, R"(,"attributes":)", track.attributes, appendAttribute);
  }

  static void appendDebug(TextBuffer& json, const Frame& frame, const internal::DebugTrack& entry) {
    appendField(json, R"({"state":)", entry.state, appendWhole);
    json += R"(,"maxPositionDifference":)";
    appendExtent(json, frame, entry.maxPositionDifferenceX, entry.maxPositionDifferenceY, 1.0);
    json += ',';
    appendTrack(json, frame, entry.track, entry.lastDetectionId);
    json += '}';
  }

  /// @param down Which way y grows in pixels for what is appended.
  static void appendExtent(TextBuffer& json, const Frame& frame, float x, float y, double down) {
    if (frame.picture) {
      const std::array<double, 2> pixels = {static_cast<double>(x) / 2.0 * frame.picture->width,
                                            down * static_cast<double>(y) / 2.0 * frame.picture->height};
      appendArray(json, pixels, appendPixels);
    } else {
      appendArray(json, std::array<float, 2>{x, y}, appendNumber);
    }
  }

  void endLine(TextBuffer& json) {
    appendStrings(json, R"(,"dropped":)", droppedCameras);
    droppedCameras.clear();
    json += "}\n";
  }

  bool debug;
  std::vector<std::string> droppedCameras;
};

class JsonDetectionWriter final : public DetectionWriter {
 public:
  explicit JsonDetectionWriter(const Target& target) : output(openOutput(target)) {}

  void write(const Record& record) override {
    json.clear();
    std::visit([this](const auto& each) { append(each); }, record);
    json += "}\n";
    output->write(json.view());
  }

  void finish() override { output->finish(); }

 private:
  void append(const Frame& frame) {
    beginFrame(json, frame);
    appendArrayField(json, R"(,"detections":)", frame.detections,
                     [&](TextBuffer&, const auto& each) { appendDetection(frame, each); });
  }

  void append(const CameraMotion& motion) {
    beginLine(json, motion.camera);
    appendPicture(json, motion.picture);
    appendArrayField(json, R"(,"motion":{"matrix":)", motion.matrix, appendDouble);
    json += '}';
  }

  void append(const CameraEnd& end) {
    beginLine(json, end.camera);
    json += R"(,"end":true)";
  }

  [[noreturn]] void append(const BadLine& fault) { throw FileError(fault.message); }

  void appendDetection(const Frame& frame, const ObjectDetection& detection) {
    json += '{';
    if (!frame.names.empty()) {
      json += R"("id":)";
      appendName(json, frame, detection.id);
      json += ',';
    }
    json += R"("box":)";
    appendExactBox(detection.box, frame.picture);
    appendField(json, R"(,"label":)", detection.label, appendQuoted);
    appendField(json, R"(,"score":)", detection.score, appendNumber);
    if (detection.objectness != 0.0F) appendField(json, R"(,"objectness":)", detection.objectness, appendNumber);
    if (!followsFromLabel(detection)) {
      appendArrayField(json, R"(,"classifications":)", detection.classifications, appendClassification);
    }
    if (!detection.attributes.empty()) {
      appendArrayField(json, R"(,"attributes":)", detection.attributes, appendAttribute);
    }
    if (detection.feature) appendArrayField(json, R"(,"feature":)", *detection.feature, appendNumber);
    json += '}';
  }

  void appendExactBox(const Box& box, const std::optional<PictureSize>& picture) {
    if (!picture) return appendBox(json, box, picture);
    const PixelBox pixels = toPixels(box, *picture);
    const auto x = [&](double edge) { return static_cast<float>(toNormalised(Position{edge, 0.0}, *picture).x); };
    const auto y = [&](double edge) { return static_cast<float>(toNormalised(Position{0.0, edge}, *picture).y); };
    const std::array<double, 4> edges = {shortestThatReadsBack(pixels.left, box.left, x),
                                         shortestThatReadsBack(pixels.top, box.top, y),
                                         shortestThatReadsBack(pixels.left + pixels.width, box.right, x),
                                         shortestThatReadsBack(pixels.top + pixels.height, box.bottom, y)};
    appendArray(json, edges, appendDouble);
  }

  /// The edge with the fewest decimals that make the same coordinate, and one that is read: single precision may have
  /// carried those at the limit beyond it.
  template <class Normalise>
  static double shortestThatReadsBack(double edge, float coordinate, Normalise normalise) {
    const double readable = std::clamp(edge, kCoordinates.least, kCoordinates.most);
    for (double steps = 1e3; steps < 1e10; steps *= 10.0) {
      const double rounded = std::round(readable * steps) / steps;
      if (normalise(rounded) == coordinate) return rounded;
    }
    return readable;
  }

  /// Whether the class hypotheses are those that a reader supposes.
  static bool followsFromLabel(const ObjectDetection& detection) {
    const auto& classes = detection.classifications;
    return classes.size() == 1 && classes[0].label == detection.label && classes[0].score == detection.score;
  }

  std::unique_ptr<Output> output;
  TextBuffer json;
};

}  // namespace

void appendBox(TextBuffer& json, const Box& box, const std::optional<PictureSize>& picture) {
  if (picture) {
    const PixelBox pixels = toPixels(box, *picture);
    const std::array<double, 4> edges = {pixels.left, pixels.top, pixels.left + pixels.width,
                                         pixels.top + pixels.height};
    appendArray(json, edges, appendPixels);
  } else {
    appendArray(json, std::array<float, 4>{box.left, box.top, box.right, box.bottom}, appendNumber);
  }
}

void appendFault(TextBuffer& json, const BadLine& fault) {
  appendField(json, R"({"error":{"line":)", fault.line, appendWhole);
  appendField(json, R"(,"field":)", fault.field, appendQuoted);
  appendField(json, R"(,"message":)", fault.message, appendQuoted);
  json += '}';
}

std::unique_ptr<TrackWriter> writeJsonTracks(const WriteSettings& settings) {
  return std::make_unique<JsonTrackWriter>(settings);
}

std::unique_ptr<DetectionWriter> writeJsonDetections(const Target& target, const WriteSettings&) {
  return std::make_unique<JsonDetectionWriter>(target);
}

}  // namespace nivra::hostkit
