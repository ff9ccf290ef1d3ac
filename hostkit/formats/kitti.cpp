#include "hostkit/formats/kitti.h"

#include <array>

#include "hostkit/files/textFile.h"
#include "hostkit/formats/frameFiles.h"
#include "hostkit/formats/rows.h"

namespace nivra::hostkit {

namespace {

constexpr std::array kInSpace = {"height in space", "width in space", "length", "x", "y", "z", "rotation"};
constexpr std::size_t kMostColumns = 18;
constexpr char kNoObject[] = "DontCare";

/// Whether the first column is the number of a frame, and not a type.
bool isOfTracking(std::string_view line) {
  return parseNumber(line.substr(0, line.find_first_of(" \t")), kCoordinates).has_value();
}

void addObject(Columns columns, bool isTracking, int frame, Sequence& sequence) {
  if (isTracking) {
    frame = columns.next("frame", Range<int>{0, kMostFrames - 1}) + 1;
    columns.next("id", kCoordinates);
  }
  const std::string type(columns.nextText("type"));
  for (const char* const name : {"truncated", "occluded", "alpha"}) columns.next(name, kCoordinates);
  const double left = columns.next("left", kCoordinates);
  const double top = columns.next("top", kCoordinates);
  const double right = columns.next("right", Range<double>{left, kCoordinates.most});
  const double bottom = columns.next("bottom", Range<double>{top, kCoordinates.most});
  for (const char* const name : kInSpace) columns.next(name, kCoordinates);
  std::optional<double> score;
  if (!columns.done()) score = columns.next("score", kCoordinates);
  columns.finish(kMostColumns);
  if (type != kNoObject) sequence.add(frame, {left, top, right - left, bottom - top}, type, score);
}

Sequence readSequence(const std::string& input, const ReadSettings& settings) {
  Sequence sequence = outlineOf(input, settings);
  const std::vector<FrameFile> files = frameFilesOf(input, ".txt");
  for (const FrameFile& file : files) {
    forEachLine(readFile(file.path), [&](int number, std::string_view line) {
      addObject(Columns(file.path, number, line, Columns::kBlanks), isOfTracking(line), file.frame, sequence);
    });
  }
  sequence.frameCount = files.back().frame;
  finishSequence(sequence, input, settings);
  return sequence;
}

/// Whether the first line is a type with 14 or 15 numbers behind it, with a frame and an identity in front or without.
bool looksLikeKitti(std::string_view beginning) {
  const std::string_view line = firstLineOf(beginning);
  const std::filesystem::path unnamed;
  Columns columns(unnamed, 0, line, Columns::kBlanks);
  std::size_t numbers = 0;
  std::size_t typeAt = 0;
  std::size_t count = 0;
  for (; !columns.done() && count <= kMostColumns; ++count) {
    const std::string_view text = columns.nextText({});
    if (parseNumber(text, kCoordinates)) {
      ++numbers;
    } else {
      typeAt = count;
    }
  }
  return numbers + 1 == count &&
         ((typeAt == 0 && (count == 15 || count == 16)) || (typeAt == 2 && (count == 17 || count == 18)));
}

std::unique_ptr<Reader> openKitti(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readSequence(path, settings));
}

}  // namespace

const Format kKitti = [] {
  Format format{"kitti", "KITTI", looksLikeKitti, openKitti};
  format.frameExtension = ".txt";
  return format;
}();

}  // namespace nivra::hostkit
