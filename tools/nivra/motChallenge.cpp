#include "motChallenge.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "appearanceFeatures.h"
#include "errors.h"
#include "iniSection.h"
#include "numbers.h"
#include "textFile.h"

namespace nivra::tool {

namespace {

namespace fs = std::filesystem;

// Far beyond any picture, and squares of it are still finite in the library's single precision.
constexpr double kFarthest = 1e9;
constexpr Range<double> kAnyNumber = {-kFarthest, kFarthest};
constexpr Range<double> kSizes = {0.0, kFarthest};
constexpr std::size_t kMostColumns = 10;

fs::path detectionFileOf(const fs::path& input) {
  std::error_code ignored;  // what cannot be looked at cannot be read either, and reading says why
  if (!fs::is_directory(input, ignored)) return input;
  for (const fs::path& file : {input / "det" / "det.txt", input / "det.txt"}) {
    if (fs::exists(file, ignored)) return file;
  }
  throw FileError(fmt::format("neither det/det.txt nor det.txt in {}", input.string()));
}

/// A sequence without its detections; `frameCount` stays 0 when nothing tells it.
Sequence outlineOf(const fs::path& input, const SequenceSettings& settings) {
  Sequence outline;
  outline.picture = settings.picture.value_or(PictureSize{});
  outline.frameRate = settings.frameRate.value_or(0.0);

  std::error_code ignored;
  const fs::path infoFile = input / "seqinfo.ini";
  if (fs::is_directory(input, ignored) && fs::exists(infoFile, ignored)) {
    const IniSection info(infoFile, "Sequence");
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

  template <class Number>
  Number next(const char* name, Range<Number> range) {
    if (atEnd) failAt(path, number, name, "missing column");
    ++count;
    field = name;
    const auto comma = rest.find(',');
    const std::string_view text = rest.substr(0, comma);
    atEnd = comma == std::string_view::npos;
    if (!atEnd) rest.remove_prefix(comma + 1);
    const auto value = parseNumber(text, range);
    if (!value) failAt(path, number, name, complaint(text, range));
    return *value;
  }

  /// Passes over what may follow the last column of interest.
  void finish() {
    const char* const last = field;
    while (!atEnd) {
      if (count == kMostColumns) failAt(path, number, last, fmt::format("more than {} columns", kMostColumns));
      next(last, kAnyNumber);
    }
  }

 private:
  const fs::path& path;
  int number;
  std::string_view rest;
  bool atEnd = false;
  std::size_t count = 0;
  const char* field = "";
};

FrameDetection parseDetection(Columns columns, const Sequence& outline) {
  FrameDetection result;
  result.frame = columns.next("frame", Range<int>{1, outline.frameCount > 0 ? outline.frameCount : kMostFrames});
  columns.next("id", kAnyNumber);
  PixelBox box;
  box.left = columns.next("left", kAnyNumber);
  box.top = columns.next("top", kAnyNumber);
  box.width = columns.next("width", kSizes);
  box.height = columns.next("height", kSizes);
  result.detection.score = static_cast<float>(columns.next("conf", kAnyNumber));
  columns.finish();
  result.detection.box = toNormalised(box, outline.picture);
  return result;
}

/// How many percent a confidence of 1 stands for: detectors write fractions, percent or scores of their own.
float percentPerConfidence(const std::vector<FrameDetection>& detections) {
  const bool fractions = std::all_of(detections.begin(), detections.end(), [](const FrameDetection& each) {
    return each.detection.score >= 0.0F && each.detection.score <= 1.0F;
  });
  return fractions ? 100.0F : 1.0F;
}

Sequence readSequence(const fs::path& input, const SequenceSettings& settings) {
  const fs::path file = detectionFileOf(input);
  const std::string text = readFile(file);
  Sequence sequence = outlineOf(input, settings);

  auto& detections = sequence.detections;
  forEachLine(text, [&](int number, std::string_view line) {
    detections.push_back(parseDetection(Columns(file, number, line), sequence));
    detections.back().detection.id = static_cast<std::int32_t>(detections.size() - 1);
  });

  std::error_code ignored;
  const fs::path features = file.parent_path() / "feat.bin";
  if (fs::is_directory(input, ignored) && fs::exists(features, ignored)) readFeatures(features, detections);

  sequence.percentPerConfidence = percentPerConfidence(detections);
  for (auto& [frame, detection] : detections) {
    detection.score *= sequence.percentPerConfidence;
    detection.label = settings.label;
    detection.classifications = {{detection.label, detection.score}};
  }
  std::stable_sort(detections.begin(), detections.end(),
                   [](const FrameDetection& a, const FrameDetection& b) { return a.frame < b.frame; });
  if (!detections.empty()) sequence.frameCount = std::max(sequence.frameCount, detections.back().frame);
  return sequence;
}

std::string formatTracks(int frame, const std::vector<TrackedObjectDetection>& tracks, const Sequence& sequence) {
  std::string lines;
  for (const TrackedObjectDetection& track : tracks) {
    const PixelBox box = toPixels(track.box, sequence.picture);
    const float confidence = track.score / sequence.percentPerConfidence;
    fmt::format_to(std::back_inserter(lines), "{},{},{:.3f},{:.3f},{:.3f},{:.3f},{:.3f},-1,-1,-1\n", frame,
                   track.id + 1, box.left, box.top, box.width, box.height, confidence);
  }
  return lines;
}

}  // namespace

const Format kMotChallenge = {readSequence, formatTracks};

}  // namespace nivra::tool
