#include "hostkit/formats/csv.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <iterator>
#include <set>
#include <tuple>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/categoryNames.h"
#include "hostkit/formats/rows.h"

namespace nivra::hostkit {

namespace {

enum Column { frame, time, label, score, left, top, right, bottom, width, height, centreX, centreY, columnCount };

constexpr double kLatest = 9e18;  // ns

struct ColumnNames {
  const char* shown;
  std::vector<std::string_view> known;  // the more telling ones first
};

/// Small letters, with underscores for what stands between words.
const std::array<ColumnNames, columnCount>& columnNames() {
  static const std::array<ColumnNames, columnCount> all = {{
      {"frame", {"frame", "frame_id", "frame_number", "frame_no", "frame_num", "frame_index", "frame_idx", "image_id"}},
      {"time",
       {"timestamp", "time", "timestamp_ns", "timestamp_us", "timestamp_ms", "timestamp_s", "time_ns", "time_us",
        "time_ms", "time_s", "t"}},
      {"label",
       {"label", "name", "class_name", "category_name", "category", "class", "type", "class_id", "category_id", "cls"}},
      {"score", {"score", "confidence", "conf", "probability", "prob"}},
      {"left", {"left", "x1", "xmin", "x_min", "x", "x_left"}},
      {"top", {"top", "y1", "ymin", "y_min", "y", "y_top"}},
      {"right", {"right", "x2", "xmax", "x_max", "x_right"}},
      {"bottom", {"bottom", "y2", "ymax", "y_max", "y_bottom"}},
      {"width", {"width", "w"}},
      {"height", {"height", "h"}},
      {"centre x", {"cx", "xc", "x_center", "center_x", "xcenter", "x_centre", "centre_x"}},
      {"centre y", {"cy", "yc", "y_center", "center_y", "ycenter", "y_centre", "centre_y"}},
  }};
  return all;
}

std::string plainName(const std::string& name) {
  std::string plain;
  for (const char each : name) {
    const bool isWord = std::isalnum(static_cast<unsigned char>(each)) != 0;
    plain += isWord ? static_cast<char>(std::tolower(static_cast<unsigned char>(each))) : '_';
  }
  for (const std::string_view prefix : {"bbox_", "box_", "bb_"}) {
    if (plain.rfind(prefix, 0) == 0) return plain.substr(prefix.size());
  }
  return plain;
}

std::vector<std::string> fieldsOf(Columns columns) {
  std::vector<std::string> fields;
  while (!columns.done()) fields.push_back(columns.nextQuoted());
  return fields;
}

/// Where the columns of a table are.
struct Layout {
  explicit Layout(const std::vector<std::string>& header) {
    std::transform(header.begin(), header.end(), std::back_inserter(names), plainName);
    for (std::size_t i = 0; i < columnCount; ++i) {
      for (const std::string_view each : columnNames()[i].known) {
        const auto found = std::find(names.begin(), names.end(), each);
        if (!at[i] && found != names.end()) at[i] = static_cast<std::size_t>(found - names.begin());
      }
    }
  }

  bool has(Column column) const { return at[column].has_value(); }

  /// What is missing to say where a box is and when; null if nothing is.
  const char* missing() const {
    if (!has(frame) && !has(time)) return "frame or time";
    for (const auto& [start, centre, size, end] :
         {std::array{left, centreX, width, right}, std::array{top, centreY, height, bottom}}) {
      if (!has(start) && !has(centre)) return columnNames()[start].known.front().data();
      if (!has(size) && (has(centre) && !has(start))) return columnNames()[size].known.front().data();
      if (!has(size) && !has(end)) return columnNames()[size].known.front().data();
    }
    return nullptr;
  }

  std::vector<std::string> names;
  std::array<std::optional<std::size_t>, columnCount> at;
};

char separatorOf(std::string_view header) {
  for (const char each : {',', ';', '\t'}) {
    if (header.find(each) != std::string_view::npos) return each;
  }
  return ',';
}

struct Row {
  std::int64_t frame = 0;
  double time = 0.0;
  std::optional<std::int64_t> wholeTime;  // exactly
  PixelBox box;
  std::string label;
  std::optional<double> score;
};

/// The rows of a table one after the other.
class Table {
 public:
  Table(const std::string& path, const ReadSettings& readSettings, std::string_view header)
      : settings(readSettings),
        file(shownName(path)),
        separator(separatorOf(header)),
        layout(fieldsOf(Columns(file, 1, header, separator))) {
    if (const char* const name = layout.missing()) failAt(file, 1, "", fmt::format("no column for {}", name));
    byTime = layout.has(time) && (!layout.has(frame) || !settings.frameRate);
  }

  void add(int number, std::string_view line) {
    lineNumber = number;
    fields = fieldsOf(Columns(file, number, line, separator));
    Row& row = rows.emplace_back();
    if (byTime) {
      row.time = numberAt(time, Range<double>{0.0, kLatest});
      row.wholeTime = parseNumber(textAt(time), Range<std::int64_t>{0, static_cast<std::int64_t>(kLatest)});
    } else {
      row.frame = numberAt(frame, Range<std::int64_t>{0, kMostFrames - 1});
    }
    std::tie(row.box.left, row.box.width) = sideOf({left, centreX, width, right});
    std::tie(row.box.top, row.box.height) = sideOf({top, centreY, height, bottom});
    row.label = layout.has(label) ? labelHere() : settings.label;
    if (layout.has(score) && !textAt(score).empty()) row.score = numberAt(score, kCoordinates);
  }

  Sequence sequence(const std::string& path) {
    Sequence result = outlineOf(path, settings, byTime);
    if (byTime) numberByTime(result);
    const bool fromZero = std::any_of(rows.begin(), rows.end(), [](const Row& each) { return each.frame == 0; });
    for (Row& each : rows) {
      result.add(static_cast<int>(each.frame) + (fromZero ? 1 : 0), each.box, std::move(each.label), each.score);
    }
    finishSequence(result, path, settings);
    return result;
  }

 private:
  const std::string& textAt(Column column) const {
    const std::size_t index = *layout.at[column];
    if (index >= fields.size()) failAt(file, lineNumber, layout.names[index], "missing column");
    return fields[index];
  }

  template <class Number>
  Number numberAt(Column column, Range<Number> range) const {
    const std::string& text = textAt(column);
    const auto number = parseNumber(text, range);
    if (!number) failAt(file, lineNumber, layout.names[*layout.at[column]], complaint(text, range));
    return *number;
  }

  /// @return Start and size.
  std::pair<double, double> sideOf(const std::array<Column, 4>& columns) const {
    const auto& [start, centre, size, end] = columns;
    if (!layout.has(start)) {
      const double extent = numberAt(size, kSizes);
      return {numberAt(centre, kCoordinates) - extent / 2.0, extent};
    }
    const double first = numberAt(start, kCoordinates);
    if (layout.has(end)) return {first, numberAt(end, Range<double>{first, kCoordinates.most}) - first};
    return {first, numberAt(size, kSizes)};
  }

  std::string labelHere() const {
    const std::string& text = textAt(label);
    if (text.empty()) return settings.label;
    const auto number = parseNumber(text, Range<std::int64_t>{0, 1'000'000'000});
    return number ? labelOf(*number, settings, {}) : text;
  }

  /// Nanoseconds of a unit of time: what the column's name says, or else what the latest one looks like.
  double unitOfTime() const {
    const std::string& name = layout.names[*layout.at[time]];
    const auto endsIn = [&](std::string_view end) {
      return name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
    };
    if (endsIn("_ns")) return 1.0;
    if (endsIn("_us")) return 1e3;
    if (endsIn("_ms")) return 1e6;
    if (endsIn("_s")) return 1e9;
    double latest = 0.0;
    for (const Row& each : rows) latest = std::max(latest, each.time);
    return latest >= 1e17 ? 1.0 : latest >= 1e14 ? 1e3 : latest >= 1e11 ? 1e6 : 1e9;
  }

  void numberByTime(Sequence& result) {
    const double unit = unitOfTime();
    std::set<std::uint64_t> times;
    const auto nanoseconds = [&](const Row& row) {
      const bool isExact = row.wholeTime && row.time * unit < kLatest;
      if (isExact) return static_cast<std::uint64_t>(*row.wholeTime) * static_cast<std::uint64_t>(unit);
      return static_cast<std::uint64_t>(std::llround(std::min(row.time * unit, kLatest)));
    };
    for (const Row& each : rows) times.insert(nanoseconds(each));
    result.timestamps.assign(times.begin(), times.end());
    for (Row& each : rows) {
      const auto place = std::lower_bound(result.timestamps.begin(), result.timestamps.end(), nanoseconds(each));
      each.frame = place - result.timestamps.begin() + 1;
    }
  }

  const ReadSettings& settings;
  std::filesystem::path file;
  char separator;
  Layout layout;
  bool byTime = false;
  int lineNumber = 0;
  std::vector<std::string> fields;  // of the line
  std::vector<Row> rows;
};

Sequence readSequence(const std::string& path, const ReadSettings& settings) {
  const std::string text = readFile(path);
  std::optional<Table> table;
  forEachLine(text, [&](int number, std::string_view line) {
    if (table) return table->add(number, line);
    table.emplace(path, settings, line);
  });
  if (!table) return outlineOf(path, settings);
  return table->sequence(path);
}

/// Whether the first line has names, of which at least two are known.
bool beginsWithNames(std::string_view beginning) {
  const std::string_view line = firstLineOf(beginning);
  if (line.empty() || line.front() == '{' || line.front() == '[') return false;
  try {
    const std::filesystem::path unnamed;
    const Layout layout(fieldsOf(Columns(unnamed, 0, line, separatorOf(line))));
    return std::count_if(layout.at.begin(), layout.at.end(), [](const auto& each) { return each.has_value(); }) >= 2;
  } catch (const FileError&) {  // quotes that are none
    return false;
  }
}

std::unique_ptr<Reader> openCsv(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readSequence(path, settings));
}

}  // namespace

const Format kCsv = {"csv", "CSV", beginsWithNames, openCsv};

}  // namespace nivra::hostkit
