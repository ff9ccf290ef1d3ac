#include "hostkit/explaining/report.h"

#include <fmt/format.h>

#include <array>
#include <string_view>

#include "hostkit/text/jsonText.h"

namespace nivra::hostkit {

namespace {

constexpr std::array<std::string_view, 4> kShownFigures = {"HOTA", "MOTA", "IDF1", "IDSW"};

/// Calls take(figure, value) for those that are told.
template <class Take>
void forEachFigure(const Figures& figures, Take take) {
  for (const std::string_view name : kShownFigures) {
    for (const FigureName& each : figureNames()) {
      if (each.name == name) take(each, each.of(figures));
    }
  }
}

std::string describe(const Totals& totals) {
  std::string text = fmt::format("{} identities", totals.identities);
  if (!totals.figures) return text;
  forEachFigure(*totals.figures, [&text](const FigureName& figure, double value) {
    const bool isFraction = figure.kind == FigureName::Kind::fraction;
    text += isFraction ? fmt::format(", {} {:.2f} %", figure.name, 100.0 * value)
                       : fmt::format(", {} {:.0f}", figure.name, value);
  });
  return text;
}

void appendTotals(TextBuffer& json, const Totals& totals) {
  appendField(json, R"({"identities":)", totals.identities, appendWhole);
  if (totals.figures) {
    forEachFigure(*totals.figures, [&json](const FigureName& figure, double value) {
      json += ',';
      appendQuoted(json, figure.name);
      appendField(json, ":", value, appendDouble);
    });
  }
  json += '}';
}

void appendCheck(TextBuffer& json, const Check& check) {
  appendField(json, R"({"parameter":)", check.parameter, appendQuoted);
  appendField(json, R"(,"value":)", check.value, appendQuoted);
  json += check.turnsAround ? R"(,"turnsAround":true)" : R"(,"turnsAround":false)";
  appendField(json, R"(,"totals":)", check.totals, appendTotals);
  json += '}';
}

std::string_view nameOf(Told::Kind kind) {
  switch (kind) {
    case Told::Kind::birth:
      return "birth";
    case Told::Kind::change:
      return "change";
    case Told::Kind::decision:
      return "decision";
    case Told::Kind::idSwitch:
      return "switch";
  }
  return "";
}

void appendTold(TextBuffer& json, const Explained& told) {
  appendField(json, R"({"kind":)", nameOf(told.kind), appendQuoted);
  appendField(json, R"(,"frame":)", told.frame, appendWhole);
  appendField(json, R"(,"seconds":)", told.seconds, appendDouble);
  appendField(json, R"(,"track":)", told.track, appendWhole);
  appendField(json, R"(,"change":)", nameOf(told.change), appendQuoted);
  if (told.other) appendField(json, R"(,"other":)", *told.other, appendWhole);
  if (told.truth) appendField(json, R"(,"truth":)", *told.truth, appendWhole);
  if (told.detection) appendField(json, R"(,"detection":)", *told.detection, appendWhole);
  appendArrayField(json, R"(,"verdicts":)", told.verdicts, appendVerdict);
  if (told.margin) appendField(json, R"(,"margin":)", *told.margin, appendDouble);
  appendField(json, R"(,"sentence":)", told.sentence, appendQuoted);
  if (told.check) appendField(json, R"(,"check":)", *told.check, appendCheck);
  json += '}';
}

}  // namespace

std::string reportAsText(const Explanations& explanations) {
  std::string text = describe(explanations.totals) + '\n';
  for (const Explained& each : explanations.told) {
    text += fmt::format("frame {} ({:.3f} s): {}\n", each.frame, each.seconds, each.sentence);
    if (each.check) text += fmt::format("    {}\n", inWords(*each.check, explanations.totals));
  }
  if (explanations.told.empty()) text += "nothing of the kind\n";
  return text;
}

std::string reportAsJson(const Explanations& explanations) {
  TextBuffer json;
  appendField(json, R"({"totals":)", explanations.totals, appendTotals);
  appendArrayField(json, R"(,"told":)", explanations.told, appendTold);
  if (explanations.reasons) appendField(json, R"(,"reasons":)", *explanations.reasons, appendReasons);
  json += "}\n";
  return std::string(json.view());
}

}  // namespace nivra::hostkit
