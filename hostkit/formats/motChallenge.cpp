#include "hostkit/formats/motChallenge.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/appearanceFeatures.h"
#include "hostkit/formats/frameTimes.h"
#include "hostkit/formats/keyValues.h"
#include "hostkit/formats/motChallengeFolder.h"
#include "hostkit/formats/rows.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostColumns = 10;
constexpr std::array kDetectionFiles = {"det/det.txt", "det/det.txt.gz", "det.txt", "det.txt.gz"};

fs::path detectionFileOf(const fs::path& input) {
  std::error_code ignored;  // what cannot be looked at cannot be read either, and reading says why
  if (!fs::is_directory(input, ignored)) return input;
  for (const char* const name : kDetectionFiles) {
    if (fs::exists(input / name, ignored)) return input / name;
  }
  throw FileError(fmt::format("neither det/det.txt nor det.txt in {}", input.string()));
}

/// A sequence without its detections; `frameCount` stays 0 when nothing tells it.
Sequence outlineOfFolder(const fs::path& input, const ReadSettings& settings) {
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

void addDetection(Columns columns, const std::string& label, Sequence& sequence) {
  const int mostFrames = sequence.frameCount > 0 ? sequence.frameCount : kMostFrames;
  const int frame = columns.next("frame", Range<int>{1, mostFrames});
  columns.next("id", kCoordinates);
  PixelBox box;
  box.left = columns.next("left", kCoordinates);
  box.top = columns.next("top", kCoordinates);
  box.width = columns.next("width", kSizes);
  box.height = columns.next("height", kSizes);
  const double confidence = columns.next("conf", kCoordinates);
  columns.finish(kMostColumns);
  sequence.add(frame, box, label, confidence);
}

/// Numbers the frames of a camera and writes what is followed in them.
class MotTrackWriter final : public TrackWriter {
 public:
  explicit MotTrackWriter(const WriteSettings& settings) : numbering(settings.frameRate, settings.start) {}

  void frame(const Frame& frame, const FrameTracks& result, std::string& lines) override {
    if (!camera) camera = frame.camera;
    if (frame.camera != *camera) {
      throw FileError(fmt::format("MOTChallenge files hold one camera, not both {} and {}: take --to jsonl",
                                  hostkit::quoted(*camera), hostkit::quoted(frame.camera)));
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
  const std::string_view line = firstLineOf(beginning);
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

bool isSequenceFolder(const std::string& path) {
  std::error_code ignored;
  return std::any_of(kDetectionFiles.begin(), kDetectionFiles.end(),
                     [&](const char* name) { return fs::exists(fs::path(path) / name, ignored); });
}

Sequence readMotChallenge(const std::string& input, const ReadSettings& settings) {
  const fs::path file = detectionFileOf(input);
  const std::string text = readFile(file);
  Sequence sequence = outlineOfFolder(input, settings);

  forEachLine(text, [&](int number, std::string_view line) {
    addDetection(Columns(file, number, line, ','), settings.label, sequence);
  });

  std::error_code ignored;
  const fs::path features = file.parent_path() / "feat.bin";
  if (fs::is_directory(input, ignored) && fs::exists(features, ignored)) readFeatures(features, sequence.detections);

  finishSequence(sequence, input, settings);
  return sequence;
}

const Format kMotChallenge = [] {
  Format format{"motchallenge", "MOTChallenge", beginsWithColumns, openMotChallenge, writeTracks, writeFolder};
  format.extensions = {".txt", ".csv"};
  format.outputExtension = ".txt";
  format.writesFolders = true;
  format.holdsOneCamera = true;
  return format;
}();

}  // namespace nivra::hostkit
