#include "hostkit/formats/csv.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/categoryNames.h"
#include "hostkit/formats/identities.h"
#include "hostkit/formats/rows.h"

namespace nivra::hostkit {

namespace {

enum Column {
  camera,
  frame,
  time,
  identity,
  label,
  score,
  left,
  top,
  right,
  bottom,
  width,
  height,
  centreX,
  centreY,
  columnCount
};

constexpr double kLatest = 9e18;  // ns

struct ColumnNames {
  const char* shown;
  std::vector<std::string_view> known;  // the more telling ones first
};

/// Small letters, with underscores for what stands between words.
const std::array<ColumnNames, columnCount>& columnNames() {
  static const std::array<ColumnNames, columnCount> all = {{
      {"camera", {"camera", "camera_id", "camera_name"}},
      {"frame", {"frame", "frame_id", "frame_number", "frame_no", "frame_num", "frame_index", "frame_idx", "image_id"}},
      {"time",
       {"timestamp", "time", "timestamp_ns", "timestamp_us", "timestamp_ms", "timestamp_s", "time_ns", "time_us",
        "time_ms", "time_s", "t"}},
      {"id", {"id", "track_id", "trackid", "identity", "object_id", "track"}},
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
  int line = 0;
  std::size_t camera = 0;  // counted as they come
  std::int64_t frame = 0;
  double time = 0.0;
  std::optional<std::int64_t> wholeTime;  // exactly
  PixelBox box;
  std::string label;
  std::optional<double> score;
  std::int64_t identity = 0;
};

/// The rows of a table one after the other.
class Table {
  using Rows = std::vector<Row>;

 public:
  enum class Purpose { detections, identities };

  Table(const std::string& path, const ReadSettings& readSettings, std::string_view header, Purpose purpose)
      : settings(readSettings),
        file(shownName(path)),
        separator(separatorOf(header)),
        hasIdentities(purpose == Purpose::identities),
        layout(fieldsOf(Columns(file, 1, header, separator))) {
    if (const char* const name = layout.missing()) failAt(file, 1, "", fmt::format("no column for {}", name));
    if (hasIdentities && !layout.has(identity)) failAt(file, 1, "", "no column for id");
    byTime = layout.has(time) && (!layout.has(frame) || (!hasIdentities && !settings.frameRate));
  }

  void add(int number, std::string_view line) {
    lineNumber = number;
    fields = fieldsOf(Columns(file, number, line, separator));
    Row& row = rows.emplace_back();
    row.line = number;
    if (hasIdentities) row.identity = identityHere();
    if (layout.has(camera)) row.camera = cameraHere();
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

  /// Those of each camera. Frames are those of the rows, or counted by their times.
  std::vector<IdentifiedSequence> identities(const std::string& path) {
    const int later = startsAtZero() ? 1 : 0;
    const double unit = byTime ? unitOfTime() : 0.0;
    std::vector<IdentifiedSequence> result;
    forEachCamera([&](Rows::iterator first, Rows::iterator last) {
      std::vector<std::uint64_t> times;
      if (byTime) numberByTime(first, last, unit, times);
      IdentifiedSequence& sequence = result.emplace_back();
      sequence.name = layout.has(camera) ? cameraNames[first->camera] : nameOf(path);
      sequence.file = file;
      for (auto each = first; each != last; ++each) {
        IdentifiedRow& row = sequence.rows.emplace_back();
        row.frame = static_cast<int>(each->frame) + later;
        row.line = each->line;
        row.identified = {each->box, each->identity};
        if (layout.has(label)) row.label = sequence.placeOf(each->label);
      }
      finishIdentities(sequence);
    });
    if (result.empty()) result.emplace_back().name = nameOf(path);
    return result;
  }

  Sequence sequence(const std::string& path) {
    Sequence result = outlineOf(path, settings, byTime);
    const int later = startsAtZero() ? 1 : 0;
    const double unit = byTime ? unitOfTime() : 0.0;
    forEachCamera([&](Rows::iterator first, Rows::iterator last) {
      if (byTime) numberByTime(first, last, unit, result.timestamps);
      addCamera(first, last, later, result);
    });
    finishSequence(result, path, settings);
    return result;
  }

 private:
  /// Before frames are numbered by their times, which is from 1.
  bool startsAtZero() const {
    return !byTime && std::any_of(rows.begin(), rows.end(), [](const Row& each) { return each.frame == 0; });
  }

  /// Calls `take(first, last)` with the rows of each camera, in the order of the cameras' first ones.
  template <class Take>
  void forEachCamera(Take take) {
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.camera < b.camera; });
    for (auto first = rows.begin(); first != rows.end();) {
      const auto last = std::find_if(first, rows.end(), [&](const Row& each) { return each.camera != first->camera; });
      take(first, last);
      first = last;
    }
  }

  std::size_t cameraHere() {
    const std::string& name = textAt(camera);
    const auto known = cameraNumbers.emplace(name, cameraNames.size());
    if (known.second) cameraNames.push_back(name);
    return known.first->second;
  }

  /// Its frames come behind those of the cameras before it.
  /// @param later How much later its frames are than they are numbered.
  void addCamera(Rows::iterator first, Rows::iterator last, int later, Sequence& result) const {
    const int before = result.frameCount;
    for (auto row = first; row != last; ++row) {
      if (row->frame + later > std::numeric_limits<int>::max() - before) failAt(file, 0, "", "too many frames");
      const int number = before + static_cast<int>(row->frame) + later;
      result.frameCount = std::max(result.frameCount, number);
      result.add(number, row->box, std::move(row->label), row->score);
    }
    if (layout.has(camera)) result.cameras.push_back({cameraNames[first->camera], result.frameCount - before});
  }

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

  std::int64_t identityHere() const {
    const std::string& text = textAt(identity);
    const auto number = parseWhole(text, kIdentities);
    if (!number) failAt(file, lineNumber, layout.names[*layout.at[identity]], complaint(text, kIdentities));
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

  static void numberByTime(Rows::iterator first, Rows::iterator last, double unit,
                           std::vector<std::uint64_t>& timestamps) {
    std::set<std::uint64_t> times;
    const auto nanoseconds = [&](const Row& row) {
      const bool isExact = row.wholeTime && row.time * unit < kLatest;
      if (isExact) return static_cast<std::uint64_t>(*row.wholeTime) * static_cast<std::uint64_t>(unit);
      return static_cast<std::uint64_t>(std::llround(std::min(row.time * unit, kLatest)));
    };
    for (auto row = first; row != last; ++row) times.insert(nanoseconds(*row));
    const auto begin = timestamps.insert(timestamps.end(), times.begin(), times.end());
    for (auto row = first; row != last; ++row) {
      row->frame = std::lower_bound(begin, timestamps.end(), nanoseconds(*row)) - begin + 1;
    }
  }

  const ReadSettings& settings;
  std::filesystem::path file;
  char separator;
  bool hasIdentities;
  Layout layout;
  bool byTime = false;
  int lineNumber = 0;
  std::vector<std::string> fields;       // of the line
  std::vector<std::string> cameraNames;  // in the order of their first rows
  std::map<std::string, std::size_t> cameraNumbers;
  Rows rows;
};

/// The size of the row that a text begins with: to the first line break outside of quotes, or to the first one at all
/// if the quotes don't close.
std::size_t rowSize(std::string_view text, char separator) {
  const std::size_t line = std::min(text.find('\n'), text.size());
  if (text.substr(0, line).find('"') == std::string_view::npos) return line;
  const char ends[] = {separator, '\n'};
  for (std::size_t at = 0; at < text.size(); ++at) {
    at = std::min(text.find_first_not_of(' ', at), text.size());
    if (at < text.size() && text[at] == '"') {
      do {
        at = text.find('"', at + 1);
        if (at == std::string_view::npos) return line;
      } while (++at < text.size() && text[at] == '"');
    }
    at = std::min(text.find_first_of({ends, 2}, at), text.size());
    if (at < text.size() && text[at] == '\n') return at;
  }
  return text.size();
}

/// @return Nothing for a file without any line.
std::optional<Table> readTable(const std::string& path, const ReadSettings& settings, Table::Purpose purpose) {
  const std::string text = readFile(path);
  const std::string_view header = firstLineOf(text);
  if (header.empty()) return std::nullopt;
  Table table(path, settings, header, purpose);
  bool isHeader = true;
  int number = 1;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view row = rest.substr(0, rowSize(rest, separatorOf(header)));
    if (!trimmed(row).empty() && !std::exchange(isHeader, false)) table.add(number, trimmed(row));
    number += 1 + static_cast<int>(std::count(row.begin(), row.end(), '\n'));
    rest.remove_prefix(std::min(row.size() + 1, rest.size()));
  }
  return table;
}

Sequence readSequence(const std::string& path, const ReadSettings& settings) {
  auto table = readTable(path, settings, Table::Purpose::detections);
  return table ? table->sequence(path) : outlineOf(path, settings);
}

std::vector<IdentifiedSequence> readIdentities(const std::string& path, const ReadSettings& settings) {
  auto table = readTable(path, settings, Table::Purpose::identities);
  if (table) return table->identities(path);
  IdentifiedSequence nobody;
  nobody.name = nameOf(path);
  nobody.file = path;
  return {nobody};
}

/// What the first line names; nothing if it is no line of names.
std::optional<Layout> layoutOf(std::string_view beginning) {
  const std::string_view line = firstLineOf(beginning);
  if (line.empty() || line.front() == '{' || line.front() == '[') return std::nullopt;
  try {
    const std::filesystem::path unnamed;
    return Layout(fieldsOf(Columns(unnamed, 0, line, separatorOf(line))));
  } catch (const FileError&) {  // quotes that are none
    return std::nullopt;
  }
}

/// Whether the first line has names, of which at least two are known.
bool beginsWithNames(std::string_view beginning) {
  const auto layout = layoutOf(beginning);
  if (!layout) return false;
  return std::count_if(layout->at.begin(), layout->at.end(), [](const auto& each) { return each.has_value(); }) >= 2;
}

bool holdsIdentities(std::string_view beginning) {
  const auto layout = layoutOf(beginning);
  return layout && layout->has(identity);
}

std::unique_ptr<Reader> openCsv(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readSequence(path, settings));
}

}  // namespace

const Format kCsv = [] {
  Format format{"csv", "CSV", beginsWithNames, openCsv, writeCsvTracks};
  format.extensions = {".csv"};
  format.outputExtension = ".csv";
  format.trackHeader = "camera,frame,timestamp_ns,id,label,score,confident,left,top,width,height\n";
  format.holdsIdentities = holdsIdentities;
  format.readIdentities = readIdentities;
  return format;
}();

}  // namespace nivra::hostkit
