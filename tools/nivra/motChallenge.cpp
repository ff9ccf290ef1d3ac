#include "motChallenge.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "appearanceFeatures.h"
#include "errors.h"
#include "frameTimes.h"
#include "keyValues.h"
#include "motChallengeFolder.h"
#include "numbers.h"
#include "textFile.h"

namespace nivra::tool {

namespace {

namespace fs = std::filesystem;

constexpr Range<double> kSizes = {0.0, kCoordinates.most};
constexpr std::size_t kMostColumns = 10;

fs::path detectionFileOf(const fs::path& input) {
  std::error_code ignored;  // what cannot be looked at cannot be read either, and reading says why
  if (!fs::is_directory(input, ignored)) return input;
  for (const char* const name : {"det/det.txt", "det/det.txt.gz", "det.txt", "det.txt.gz"}) {
    if (fs::exists(input / name, ignored)) return input / name;
  }
  throw FileError(fmt::format("neither det/det.txt nor det.txt in {}", input.string()));
}

/// A sequence without its detections; `frameCount` stays 0 when nothing tells it.
Sequence outlineOf(const fs::path& input, const ReadSettings& settings) {
  Sequence outline;
  outline.picture = settings.picture.value_or(PictureSize{});
  outline.frameRate = settings.frameRate.value_or(0.0);

  std::error_code ignored;
  const fs::path infoFile = input / "seqinfo.ini";
  if (fs::is_directory(input, ignored) && fs::exists(infoFile, ignored)) {
    const KeyValues info = readIniSection(infoFile, "Sequence");
    if (!settings.frameRate) outline.frameRate = info.number("frameRate", kFrameRates);
    outline.frameCount = info.number("seqLength", kFrameCounts);
    if (!settings.picture) {
      outline.picture.width = info.number("imWidth", kPictureSides);
      outline.picture.height = info.number("imHeight", kPictureSides);
    }
  } else if (!settings.picture || !settings.frameRate) {
    throw UsageError(fmt::format("{} comes without a seqinfo.ini: give --picture WxH and --fps F", input.string()));
  }
  return outline;
}

/// The columns of one line, read from left to right.
class Columns {
 public:
  Columns(const fs::path& detectionFile, int lineNumber, std::string_view line)
      : path(detectionFile), number(lineNumber), rest(line) {}

  /// @param name Of the column; empty for one that has none.
  template <class Number>
  Number next(std::string_view name, Range<Number> range) {
    if (atEnd) failAt(path, number, name, "missing column");
    ++count;
    const auto comma = rest.find(',');
    const std::string_view text = rest.substr(0, comma);
    atEnd = comma == std::string_view::npos;
    if (!atEnd) rest.remove_prefix(comma + 1);
    const auto value = parseNumber(text, range);
    if (!value) blame(name, complaint(text, range));
    return *value;
  }

  /// Passes over what may follow the last column of interest.
  void finish() {
    while (!atEnd) {
      if (count == kMostColumns) {
        ++count;
        blame({}, fmt::format("more than {} columns", kMostColumns));
      }
      next({}, kCoordinates);
    }
  }

 private:
  [[noreturn]] void blame(std::string_view name, const std::string& what) const {
    failAt(path, number, name.empty() ? fmt::format("column {}", count) : std::string(name), what);
  }

  const fs::path& path;
  int number;
  std::string_view rest;
  bool atEnd = false;
  std::size_t count = 0;
};

FrameDetection parseDetection(Columns columns, const Sequence& outline) {
  FrameDetection result;
  result.frame = columns.next("frame", Range<int>{1, outline.frameCount > 0 ? outline.frameCount : kMostFrames});
  columns.next("id", kCoordinates);
  PixelBox box;
  box.left = columns.next("left", kCoordinates);
  box.top = columns.next("top", kCoordinates);
  box.width = columns.next("width", kSizes);
  box.height = columns.next("height", kSizes);
  result.detection.score = static_cast<float>(columns.next("conf", kCoordinates));
  columns.finish();
  result.detection.box = toNormalised(box, outline.picture);
  return result;
}

/// Numbers the frames of a camera and writes what is followed in them.
class MotTrackWriter final : public TrackWriter {
 public:
  explicit MotTrackWriter(const WriteSettings& settings) : numbering(settings.frameRate, settings.start) {}

  void frame(const Frame& frame, const FrameTracks& result, std::string& lines) override {
    if (!camera) camera = frame.camera;
    if (frame.camera != *camera) {
      throw FileError(fmt::format("MOTChallenge files hold one camera, not both {} and {}: take --to jsonl",
                                  tool::quoted(*camera), tool::quoted(frame.camera)));
    }
    if (!frame.picture) throw UsageError("MOTChallenge files are in pixels: give --picture WxH");
    const int number = numbering.next(*frame.timestamp);
    for (const TrackedObjectDetection& track : result.tracks) {
      const PixelBox box = toPixels(track.box, *frame.picture);
      if (!hasArea(box)) {
        ++outside;
        continue;
      }
      const float confidence = track.score / frame.percentPerConfidence;
      fmt::format_to(std::back_inserter(lines), "{},{},{:.3f},{:.3f},{:.3f},{:.3f},{:.3f},-1,-1,-1\n", number,
                     track.id + 1, box.left, box.top, box.width, box.height, confidence);
    }
  }

  void motion(const CameraMotion&, std::string&) override {}
  void end(const CameraEnd&, const std::set<int>&, std::string&) override {}
  bool fault(const BadLine&, std::string&) override { return false; }
  std::uint64_t leftOut() const override { return outside; }

 private:
  /// Boxes end at the border of the picture, so that nothing is left of those outside.
  static bool hasArea(const PixelBox& box) {
    constexpr double kLeast = 0.0005;  // that thousandths tell from 0
    return box.width >= kLeast && box.height >= kLeast;
  }

  std::optional<std::string> camera;
  FrameNumbering numbering;
  std::uint64_t outside = 0;
};

/// Whether the first line is one of numbers and commas.
bool beginsWithColumns(std::string_view beginning) {
  const auto start = beginning.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) return false;
  const std::string_view line = beginning.substr(start, beginning.find('\n', start) - start);
  return line.find_first_not_of("0123456789+-.eE, \t\r") == std::string_view::npos &&
         line.find(',') != std::string_view::npos;
}

std::unique_ptr<Reader> openMotChallenge(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readMotChallenge(path, settings));
}

std::unique_ptr<DetectionWriter> writeFolder(const Target& target, const WriteSettings& settings) {
  return std::make_unique<MotChallengeFolder>(target, settings);
}

std::unique_ptr<TrackWriter> writeTracks(const WriteSettings& settings) {
  return std::make_unique<MotTrackWriter>(settings);
}

}  // namespace

Sequence readMotChallenge(const std::string& input, const ReadSettings& settings) {
  const fs::path file = detectionFileOf(input);
  const std::string text = readFile(file);
  Sequence sequence = outlineOf(input, settings);

  auto& detections = sequence.detections;
  forEachLine(text, [&](int number, std::string_view line) {
    detections.push_back(parseDetection(Columns(file, number, line), sequence));
    detections.back().detection.label = settings.label;
  });

  std::error_code ignored;
  const fs::path features = file.parent_path() / "feat.bin";
  if (fs::is_directory(input, ignored) && fs::exists(features, ignored)) readFeatures(features, detections);

  finishSequence(sequence);
  return sequence;
}

const Format kMotChallenge = {"motchallenge",   {".txt", ".csv"}, beginsWithColumns,
                              openMotChallenge, writeTracks,      writeFolder};

}  // namespace nivra::tool
