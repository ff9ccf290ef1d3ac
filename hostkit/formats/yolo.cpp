#include "hostkit/formats/yolo.h"

#include <algorithm>
#include <limits>

#include "hostkit/files/textFile.h"
#include "hostkit/formats/categoryNames.h"
#include "hostkit/formats/frameFiles.h"
#include "hostkit/formats/rows.h"

namespace nivra::hostkit {

namespace {

constexpr Range<std::int64_t> kClasses = {0, std::numeric_limits<int>::max()};
constexpr Range<double> kIds = {0.0, 1e15};
constexpr std::size_t kFewestColumns = 5;

struct Row {
  int frame = 0;
  std::int64_t category = 0;
  PixelBox box;
  std::optional<double> sixth;  // a confidence or an identity
  bool hasSeventh = false;      // then it is a confidence
};

Row parseRow(Columns columns, int frame, PictureSize picture) {
  Row row;
  row.frame = frame;
  row.category = columns.next("class", kClasses);
  const double x = columns.next("x", kCoordinates);
  const double y = columns.next("y", kCoordinates);
  const double width = columns.next("width", kSizes);
  const double height = columns.next("height", kSizes);
  row.box = {(x - width / 2.0) * picture.width, (y - height / 2.0) * picture.height, width * picture.width,
             height * picture.height};
  if (!columns.done()) row.sixth = columns.next("confidence", kCoordinates);
  row.hasSeventh = !columns.done();
  if (row.hasSeventh) columns.next("id", kIds);
  columns.finish(kFewestColumns + 2);
  return row;
}

/// Without confidences, the sixth column has identities.
bool hasIdentities(const std::vector<Row>& rows) {
  const auto isWhole = [](double number) { return number == static_cast<double>(static_cast<std::int64_t>(number)); };
  const bool allCanBe = std::all_of(rows.begin(), rows.end(), [&](const Row& each) {
    return !each.hasSeventh && (!each.sixth || (*each.sixth >= 0.0 && isWhole(*each.sixth)));
  });
  return allCanBe && std::any_of(rows.begin(), rows.end(), [](const Row& each) { return each.sixth > 1.0; });
}

Sequence readSequence(const std::string& input, const ReadSettings& settings) {
  Sequence sequence = outlineOf(input, settings);
  std::vector<Row> rows;
  const std::vector<FrameFile> files = frameFilesOf(input, ".txt");
  for (const FrameFile& file : files) {
    forEachLine(readFile(file.path), [&](int number, std::string_view line) {
      rows.push_back(parseRow(Columns(file.path, number, line, Columns::kBlanks), file.frame, sequence.picture));
    });
  }
  sequence.frameCount = files.back().frame;
  const CategoryNames names = categoryNamesAround(files.front().path.parent_path());
  const bool identities = hasIdentities(rows);
  for (const Row& each : rows) {
    sequence.add(each.frame, each.box, labelOf(each.category, settings, names), identities ? std::nullopt : each.sixth);
  }
  finishSequence(sequence, input, settings);
  return sequence;
}

/// Whether the first line is a class and at least four fractions between blanks.
bool beginsWithFractions(std::string_view beginning) {
  const std::string_view line = firstLineOf(beginning);
  if (line.empty() || line.find_first_not_of("0123456789+-.eE \t") != std::string_view::npos) return false;
  const std::filesystem::path unnamed;
  Columns columns(unnamed, 0, line, Columns::kBlanks);
  std::size_t count = 0;
  for (; !columns.done(); ++count) {
    const bool isOfBox = count > 0 && count < kFewestColumns;
    if (!parseNumber(columns.nextText({}), isOfBox ? kFractions : kCoordinates)) return false;
  }
  return count >= kFewestColumns && count <= kFewestColumns + 2;
}

std::unique_ptr<Reader> openYolo(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readSequence(path, settings));
}

}  // namespace

const Format kYolo = [] {
  Format format{"yolo", "YOLO", beginsWithFractions, openYolo};
  format.frameExtension = ".txt";
  return format;
}();

}  // namespace nivra::hostkit
