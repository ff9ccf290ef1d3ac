#include "hostkit/formats/kitti.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "hostkit/errors.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/frameFiles.h"
#include "hostkit/formats/identities.h"
#include "hostkit/formats/rows.h"
#include "hostkit/formats/trackRows.h"
#include "hostkit/text/jsonText.h"

namespace nivra::hostkit {

namespace {

constexpr std::array kInSpace = {"height in space", "width in space", "length", "x", "y", "z", "rotation"};
constexpr std::size_t kMostColumns = 18;
constexpr char kNoObject[] = "DontCare";

/// Whether the first column is the number of a frame, and not a type.
bool isOfTracking(std::string_view line) {
  return parseNumber(line.substr(0, line.find_first_of(" \t")), kCoordinates).has_value();
}

/// A line of either kind.
struct Object {
  int frame = 0;         // from 1; 0 in a file for each frame
  std::int64_t id = -1;  // likewise none
  std::string type;
  PixelBox box;
  std::optional<double> score;
};

Object readObject(Columns columns, bool isTracking) {
  Object object;
  if (isTracking) {
    object.frame = columns.next("frame", Range<int>{0, kMostFrames - 1}) + 1;
    object.id = columns.nextWhole("id", kIdentities);
  }
  object.type = columns.nextText("type");
  for (const char* const name : {"truncated", "occluded", "alpha"}) columns.next(name, kCoordinates);
  const double left = columns.next("left", kCoordinates);
  const double top = columns.next("top", kCoordinates);
  const double right = columns.next("right", Range<double>{left, kCoordinates.most});
  const double bottom = columns.next("bottom", Range<double>{top, kCoordinates.most});
  object.box = {left, top, right - left, bottom - top};
  for (const char* const name : kInSpace) columns.next(name, kCoordinates);
  if (!columns.done()) object.score = columns.next("score", kCoordinates);
  columns.finish(kMostColumns);
  return object;
}

/// Writes lines as those of tracking's results, with what isn't known as KITTI marks it.
class KittiTrackWriter final : public TrackRowWriter {
 public:
  using TrackRowWriter::TrackRowWriter;

 private:
  void append(const Row& row, TextBuffer& line) const override {
    line += fmt::format("{} {} {} -1 -1 -10", row.number - 1, row.id, typeOf(row.track.label));
    const auto& [left, top, width, height] = row.box;
    for (const double each : {left, top, left + width, top + height}) {
      line += ' ';
      appendPixels(line, each);
    }
    line += " -1 -1 -1 -1000 -1000 -1000 -10 ";
    appendNumber(line, row.confidence);
    line += '\n';
  }

  static const std::string& typeOf(const std::string& label) {
    const bool isWord = !label.empty() && label.find_first_of(" \t\r\n") == std::string::npos;
    if (isWord && label != kNoObject) return label;
    throw FileError(
        fmt::format("KITTI files have a word for a label, which {} is none of: --category can give another one to "
                    "numbered classes, and --to csv holds any",
                    hostkit::quoted(label)));
  }
};

Sequence readSequence(const std::string& input, const ReadSettings& settings) {
  Sequence sequence = outlineOf(input, settings);
  const std::vector<FrameFile> files = frameFilesOf(input, ".txt");
  for (const FrameFile& file : files) {
    forEachLine(readFile(file.path), [&](int number, std::string_view line) {
      const bool isTracking = isOfTracking(line);
      const Object object = readObject(Columns(file.path, number, line, Columns::kBlanks), isTracking);
      if (object.type == kNoObject) return;
      sequence.add(isTracking ? object.frame : file.frame, object.box, object.type, object.score);
    });
  }
  sequence.frameCount = files.back().frame;
  finishSequence(sequence, input, settings);
  return sequence;
}

std::vector<IdentifiedSequence> readIdentities(const std::string& path, const ReadSettings&) {
  std::vector<IdentifiedSequence> sequences(1);
  IdentifiedSequence& sequence = sequences.front();
  sequence.name = nameOf(path);
  sequence.file = path;
  forEachLine(readFile(path), [&](int number, std::string_view line) {
    if (!isOfTracking(line))
      failAt(path, number, "", "no identities: each line begins with frame and id where there are");
    const Object object = readObject(Columns(sequence.file, number, line, Columns::kBlanks), true);
    if (object.type == kNoObject) return;
    IdentifiedRow& row = sequence.rows.emplace_back();
    row.frame = object.frame;
    row.line = number;
    row.identified = {object.box, object.id};
    row.label = sequence.placeOf(object.type);
  });
  finishIdentities(sequence);
  return sequences;
}

/// Whether the first line is a type with 14 or 15 numbers behind it, with a frame and an identity in front or without.
/// Behind these, a type may be a number, too.
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
  if (count == 17 || count == 18) return numbers == count || (numbers + 1 == count && typeAt == 2);
  return numbers + 1 == count && typeAt == 0 && (count == 15 || count == 16);
}

std::unique_ptr<TrackWriter> writeTracks(const WriteSettings& settings) {
  return std::make_unique<KittiTrackWriter>(kKitti, settings);
}

std::unique_ptr<Reader> openKitti(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readSequence(path, settings));
}

}  // namespace

const Format kKitti = [] {
  Format format{"kitti", "KITTI", looksLikeKitti, openKitti, writeTracks};
  format.outputExtension = format.frameExtension = ".txt";
  format.holdsOneCamera = true;
  format.holdsIdentities = [](std::string_view beginning) { return isOfTracking(firstLineOf(beginning)); };
  format.readIdentities = readIdentities;
  return format;
}();

}  // namespace nivra::hostkit
