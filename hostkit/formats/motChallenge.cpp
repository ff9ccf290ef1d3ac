#include "hostkit/formats/motChallenge.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <map>
#include <string_view>

#include "hostkit/errors.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/appearanceFeatures.h"
#include "hostkit/formats/categoryNames.h"
#include "hostkit/formats/identities.h"
#include "hostkit/formats/keyValues.h"
#include "hostkit/formats/motChallengeFolder.h"
#include "hostkit/formats/rows.h"
#include "hostkit/formats/trackRows.h"
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

constexpr std::array kTruthFiles = {"gt/gt.txt", "gt/gt.txt.gz", "gt.txt", "gt.txt.gz"};

/// The folder of the sequence that a file of truth belongs to; nothing for other files.
std::optional<fs::path> folderOfTruth(const fs::path& file) {
  const std::string name = file.filename().string();
  if (name != "gt.txt" && name != "gt.txt.gz") return std::nullopt;
  const fs::path folder = fs::absolute(file).lexically_normal().parent_path();
  return folder.filename() == "gt" ? folder.parent_path() : folder;
}

/// Frames count for as many as seqinfo.ini says, if there is one.
int lengthOf(const fs::path& folder) {
  std::error_code ignored;
  const fs::path infoFile = folder / "seqinfo.ini";
  return fs::exists(infoFile, ignored) ? readIniSection(infoFile, "Sequence").number("seqLength", kFrameCounts) : 0;
}

/// Reads rows of tracks or truth: "frame,id,left,top,width,height" and what may follow.
class IdentifiedRows {
 public:
  IdentifiedRows(IdentifiedSequence& target, const ReadSettings& readSettings)
      : sequence(target), settings(readSettings) {}

  void add(Columns columns, int line) {
    IdentifiedRow& row = sequence.rows.emplace_back();
    row.line = line;
    row.frame = static_cast<int>(columns.nextWhole("frame", Range<std::int64_t>{1, kMostFrames}));
    row.identified.identity = columns.nextWhole("id", kIdentities);
    PixelBox& box = row.identified.box;
    box.left = columns.next("left", kCoordinates);
    box.top = columns.next("top", kCoordinates);
    box.width = columns.next("width", kSizes);
    box.height = columns.next("height", kSizes);
    if (!columns.done()) row.confidence = columns.next("conf", kCoordinates);
    if (!columns.done()) addClass(columns.next("class", kCoordinates), row);
    columns.finish(kMostColumns);
  }

 private:
  /// Elsewhere this column has positions in space, or -1.
  void addClass(double number, IdentifiedRow& row) {
    constexpr double kMostClasses = 1e6;
    if (!(number >= 1.0 && number <= kMostClasses) || number != std::floor(number)) return;
    row.category = static_cast<int>(number);
    const auto [place, isNew] = places.emplace(row.category, 0);
    if (isNew) place->second = sequence.placeOf(labelOf(row.category, settings, {}));
    row.label = place->second;
  }

  IdentifiedSequence& sequence;
  const ReadSettings& settings;
  std::map<int, int> places;  // of the labels of categories
};

std::vector<IdentifiedSequence> readIdentities(const std::string& input, const ReadSettings& settings) {
  const fs::path file = truthFileOf(input).value_or(input);
  const auto folder = folderOfTruth(file);
  std::vector<IdentifiedSequence> sequences(1);
  IdentifiedSequence& sequence = sequences.front();
  sequence.name = nameOf(folder.value_or(file));
  sequence.file = file;
  if (folder) sequence.frameCount = lengthOf(*folder);
  const std::string text = readFile(file);
  sequence.rows.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
  IdentifiedRows rows(sequence, settings);
  forEachLine(text, [&](int number, std::string_view line) { rows.add(Columns(file, number, line, ','), number); });
  finishIdentities(sequence);
  return sequences;
}

class MotTrackWriter final : public TrackRowWriter {
 public:
  using TrackRowWriter::TrackRowWriter;

 private:
  void append(const Row& row, TextBuffer& lines) const override {
    fmt::format_to(std::back_inserter(lines), "{},{},{:.3f},{:.3f},{:.3f},{:.3f},{:.3f},-1,-1,-1\n", row.number,
                   row.id + 1, row.box.left, row.box.top, row.box.width, row.box.height, row.confidence);
  }
};

/// Whether the first line is one of numbers and commas.
bool beginsWithColumns(std::string_view beginning) {
  const std::string_view line = firstLineOf(beginning);
  return line.find_first_not_of("0123456789+-.eE, \t\r") == std::string_view::npos &&
         line.find(',') != std::string_view::npos;
}

/// Detections have -1 in the place of an identity.
bool holdsIdentities(std::string_view beginning) {
  const std::filesystem::path unnamed;
  Columns columns(unnamed, 0, firstLineOf(beginning), ',');
  columns.nextText("frame");
  const auto identity = columns.done() ? std::nullopt : parseNumber(columns.nextText("id"), kCoordinates);
  return identity && *identity >= 0.0;
}

std::unique_ptr<Reader> openMotChallenge(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readMotChallenge(path, settings));
}

std::unique_ptr<DetectionWriter> writeFolder(const Target& target, const WriteSettings& settings) {
  return std::make_unique<MotChallengeFolder>(target, settings);
}

std::unique_ptr<TrackWriter> writeTracks(const WriteSettings& settings) {
  return std::make_unique<MotTrackWriter>(kMotChallenge, settings);
}

}  // namespace

bool isSequenceFolder(const std::string& path) {
  std::error_code ignored;
  return std::any_of(kDetectionFiles.begin(), kDetectionFiles.end(),
                     [&](const char* name) { return fs::exists(fs::path(path) / name, ignored); });
}

std::optional<fs::path> truthFileOf(const fs::path& folder) {
  std::error_code ignored;
  if (!fs::is_directory(folder, ignored)) return std::nullopt;
  for (const char* const name : kTruthFiles) {
    if (fs::exists(folder / name, ignored)) return folder / name;
  }
  return std::nullopt;
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
  format.extensions = {".txt"};
  format.outputExtension = ".txt";
  format.writesFolders = true;
  format.answersInKind = true;
  format.holdsOneCamera = true;
  format.holdsIdentities = holdsIdentities;
  format.readIdentities = readIdentities;
  return format;
}();

}  // namespace nivra::hostkit
