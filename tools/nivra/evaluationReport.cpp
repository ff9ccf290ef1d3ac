#include "evaluationReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "hostkit/evaluation/thresholds.h"
#include "hostkit/text/jsonText.h"

namespace nivra::tool {

namespace {

using namespace hostkit;

constexpr char kAllSequences[] = "COMBINED";

bool isCount(const FigureName& figure) { return figure.kind == FigureName::Kind::count; }

/// What each row of a table begins with.
struct RowTitle {
  std::string sequence;
  std::string tracker;
};

RowTitle titleOf(const EvaluationRow& row) {
  const std::string sequence = row.sequence.empty() ? kAllSequences : row.sequence;
  return {row.category.empty() ? sequence : fmt::format("{} {}", row.category, sequence), row.tracker};
}

std::string cellOf(const FigureName& figure, double value, bool isDifference) {
  const double shown = figure.kind == FigureName::Kind::fraction ? value * 100.0 : value;
  const int decimals = isCount(figure) ? 0 : 2;
  const std::string text =
      isDifference ? fmt::format("{:+.{}f}", shown, decimals) : fmt::format("{:.{}f}", shown, decimals);
  const bool isZero = text.find_first_of("123456789") == std::string::npos;
  return isDifference && isZero ? "=" : text;
}

/// Cells in columns that are as wide as their widest one.
class Table {
 public:
  void add(std::vector<std::string> cells) {
    widths.resize(std::max(widths.size(), cells.size()));
    for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], columnsOf(cells[i]));
    rows.push_back(std::move(cells));
  }

  /// @param titles How many columns are texts; the others are numbers.
  std::string text(std::size_t titles) const {
    std::string lines;
    for (const auto& row : rows) {
      std::string line;
      for (std::size_t i = 0; i < row.size(); ++i) {
        const std::string padding(widths[i] - columnsOf(row[i]), ' ');
        line += i < titles ? row[i] + padding : padding + row[i];
        line += "  ";
      }
      line.erase(line.find_last_not_of(' ') + 1);
      lines += line + '\n';
    }
    return lines;
  }

 private:
  /// Letters of UTF-8.
  static std::size_t columnsOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char each) { return (static_cast<unsigned char>(each) & 0xC0U) != 0x80U; }));
  }

  std::vector<std::vector<std::string>> rows;
  std::vector<std::size_t> widths;
};

/// Whether a row stands in the table: all sequences together only where there are several.
bool isShown(const Evaluation& evaluation, const EvaluationRow& row) {
  return !row.sequence.empty() || evaluation.sequenceCount > 1;
}

std::string groupAsText(const Evaluation& evaluation, std::string_view group) {
  std::vector<FigureName> figures;
  for (const FigureName& each : figureNames()) {
    if (each.group == group && each.isShown) figures.push_back(each);
  }
  const bool compares = evaluation.trackerCount > 1;
  const auto titled = [&](const RowTitle& title) {
    std::vector<std::string> cells = {title.sequence};
    if (compares) cells.push_back(title.tracker);
    return cells;
  };
  Table table;
  std::vector<std::string> header = titled({std::string(group), "tracker"});
  for (const FigureName& each : figures) header.emplace_back(each.heading);
  table.add(std::move(header));
  std::string last;
  for (const EvaluationRow& row : evaluation.rows) {
    if (!isShown(evaluation, row)) continue;
    RowTitle title = titleOf(row);
    if (std::exchange(last, title.sequence) == title.sequence) title.sequence.clear();
    std::vector<std::string> cells = titled(title);
    for (const FigureName& each : figures) cells.push_back(cellOf(each, each.of(row.figures), false));
    table.add(std::move(cells));
    if (!row.reference) continue;
    std::vector<std::string> differences = titled({"", "  difference"});
    for (const FigureName& each : figures) differences.push_back(cellOf(each, evaluation.difference(row, each), true));
    table.add(std::move(differences));
  }
  return table.text(compares ? 2 : 1);
}

void appendText(TextBuffer& json, std::string_view text) { appendQuoted(json, text); }

/// Counts have no point.
void appendFigure(TextBuffer& json, double value, bool isCount) {
  if (isCount) {
    json += fmt::format("{:.0f}", value);
  } else {
    appendDouble(json, value);
  }
}

void appendCurves(TextBuffer& json, const Figures& figures) {
  json += R"(,"thresholds":{)";
  const char* joint = "";
  for (const CurveName& curve : curveNames()) {
    json += std::exchange(joint, ",");
    appendText(json, curve.name);
    json += ':';
    appendArray(json, curve.of(figures),
                [&](TextBuffer& text, double value) { appendFigure(text, value, curve.isCount); });
  }
  json += '}';
}

/// An object for each group of figures.
/// @param value Of a figure.
template <class Value>
void appendGroups(TextBuffer& json, const EvaluationRow& row, bool withCurves, Value value) {
  std::string_view group;
  for (const FigureName& each : figureNames()) {
    if (group != each.group) {
      if (group == "HOTA" && withCurves) appendCurves(json, row.figures);
      json += group.empty() ? "" : "},";
      group = each.group;
      appendText(json, group);
      json += ":{";
    } else {
      json += ',';
    }
    appendText(json, each.name);
    json += ':';
    appendFigure(json, value(each), isCount(each));
  }
  json += '}';
}

void appendRow(TextBuffer& json, const Evaluation& evaluation, const EvaluationRow& row) {
  json += '{';
  appendField(json, R"("tracker":)", row.tracker, appendText);
  if (!row.category.empty()) appendField(json, R"(,"class":)", row.category, appendText);
  if (row.sequence.empty()) {
    json += R"(,"combined":true,)";
  } else {
    appendField(json, R"(,"sequence":)", row.sequence, appendText);
    appendField(json, R"(,"preprocessing":)", nameOf(row.preprocessing), appendText);
    json += ',';
  }
  appendGroups(json, row, true, [&](const FigureName& each) { return each.of(row.figures); });
  if (row.reference) {
    json += R"(,"difference":{)";
    appendGroups(json, row, false, [&](const FigureName& each) { return evaluation.difference(row, each); });
    json += '}';
  }
  json += '}';
}

/// A field in quotes where it needs them.
std::string csvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string field = "\"";
  for (const char each : text) field += each == '"' ? "\"\"" : std::string(1, each);
  return field + '"';
}

}  // namespace

std::string reportAsText(const Evaluation& evaluation) {
  return groupAsText(evaluation, "HOTA") + '\n' + groupAsText(evaluation, "CLEAR") + '\n' +
         groupAsText(evaluation, "Identity");
}

std::string reportAsJson(const Evaluation& evaluation) {
  TextBuffer json;
  json += R"({"thresholds":)";
  appendArray(json, hotaThresholds(), [](TextBuffer& text, double value) { text += fmt::format("{:.2f}", value); });
  json += R"(,"results":[)";
  for (const EvaluationRow& row : evaluation.rows) {
    json += &row == evaluation.rows.data() ? "\n" : ",\n";
    appendRow(json, evaluation, row);
  }
  json += "\n]}\n";
  return std::string(json.view());
}

std::string reportAsCsv(const Evaluation& evaluation) {
  TextBuffer lines;
  lines += "tracker,class,sequence";
  for (const FigureName& each : figureNames()) lines += fmt::format(",{}", each.name);
  lines += '\n';
  for (const EvaluationRow& row : evaluation.rows) {
    lines += fmt::format("{},{},{}", csvField(row.tracker), csvField(row.category),
                         csvField(row.sequence.empty() ? kAllSequences : row.sequence));
    for (const FigureName& each : figureNames()) {
      lines += ',';
      appendFigure(lines, each.of(row.figures), isCount(each));
    }
    lines += '\n';
  }
  return std::string(lines.view());
}

}  // namespace nivra::tool
