#include "hostkit/formats/frameReasons.h"

#include <fmt/format.h>

#include <cstddef>

#include "hostkit/text/jsonText.h"

namespace nivra::hostkit {

namespace {

constexpr auto appendWhole = [](TextBuffer& json, auto number) {
  const fmt::format_int digits(number);
  json += std::string_view(digits.data(), digits.size());
};

void appendDecision(TextBuffer& json, const Decision& decision) {
  appendField(json, R"(,"outcome":)", nameOf(decision.outcome), appendQuoted);
  if (decision.cost) appendField(json, R"(,"cost":)", *decision.cost, appendNumber);
  appendArrayField(json, R"(,"verdicts":)", decision.verdicts, appendVerdict);
}

void appendInBetween(TextBuffer& json, const InBetweenExplanation& explanation) {
  appendField(json, R"({"detection":)", explanation.middle, appendWhole);
  appendArrayField(json, R"(,"neighbours":)", explanation.neighbours, appendWhole);
  appendArrayField(json, R"(,"verdicts":)", explanation.verdicts, appendVerdict);
  json += '}';
}

void appendPair(TextBuffer& json, const PairExplanation& explanation) {
  appendField(json, R"({"track":)", explanation.pair.track, appendWhole);
  appendField(json, R"(,"detection":)", explanation.pair.detection, appendWhole);
  if (explanation.outcome == Decision::Outcome::outbid) {
    appendField(json, R"(,"rival":{"track":)", explanation.rival.track, appendWhole);
    appendField(json, R"(,"detection":)", explanation.rival.detection, appendWhole);
    json += '}';
  }
  appendDecision(json, explanation);
  json += '}';
}

void appendRevival(TextBuffer& json, const RevivalExplanation& explanation) {
  appendField(json, R"({"lost":)", explanation.pair.lost, appendWhole);
  appendField(json, R"(,"young":)", explanation.pair.young, appendWhole);
  if (explanation.outcome == Decision::Outcome::outbid) {
    appendField(json, R"(,"rival":{"lost":)", explanation.rival.lost, appendWhole);
    appendField(json, R"(,"young":)", explanation.rival.young, appendWhole);
    json += '}';
  }
  appendDecision(json, explanation);
  json += '}';
}

void appendTrack(TextBuffer& json, const TrackExplanation& explanation) {
  appendField(json, R"({"track":)", explanation.track, appendWhole);
  appendField(json, R"(,"change":)", nameOf(explanation.change), appendQuoted);
  if (explanation.other) appendField(json, R"(,"other":)", *explanation.other, appendWhole);
  if (explanation.detection) appendField(json, R"(,"detection":)", *explanation.detection, appendWhole);
  appendArrayField(json, R"(,"verdicts":)", explanation.verdicts, appendVerdict);
  json += '}';
}

}  // namespace

void FrameReasons::clear() {
  inBetweens.clear();
  pairs.clear();
  revivals.clear();
  tracks.clear();
}

void FrameReasons::nameDetections(const std::vector<ObjectDetection>& detections) {
  const auto name = [&](std::size_t& detection) { detection = static_cast<std::size_t>(detections[detection].id); };
  for (InBetweenExplanation& each : inBetweens) {
    name(each.middle);
    for (std::size_t& neighbour : each.neighbours) name(neighbour);
  }
  for (PairExplanation& each : pairs) {
    name(each.pair.detection);
    name(each.rival.detection);
  }
  for (TrackExplanation& each : tracks) {
    if (each.detection) name(*each.detection);
  }
}

void ReasonKeeper::explainInBetween(const InBetweenExplanation& explanation) {
  if (reasons != nullptr) reasons->inBetweens.push_back(explanation);
}
void ReasonKeeper::explainPair(const PairExplanation& explanation) {
  if (reasons != nullptr) reasons->pairs.push_back(explanation);
}
void ReasonKeeper::explainRevival(const RevivalExplanation& explanation) {
  if (reasons != nullptr) reasons->revivals.push_back(explanation);
}
void ReasonKeeper::explainTrack(const TrackExplanation& explanation) {
  if (reasons != nullptr) reasons->tracks.push_back(explanation);
}

void appendVerdict(TextBuffer& json, const Verdict& verdict) {
  appendField(json, R"({"rule":)", nameOf(verdict.rule), appendQuoted);
  json += verdict.holds ? R"(,"holds":true)" : R"(,"holds":false)";
  appendField(json, R"(,"figure":)", verdict.figure, appendDouble);
  appendField(json, R"(,"limit":)", verdict.limit, appendDouble);
  if (*verdict.parameter != '\0') appendField(json, R"(,"parameter":)", verdict.parameter, appendQuoted);
  json += '}';
}

void appendReasons(TextBuffer& json, const FrameReasons& reasons) {
  appendArrayField(json, R"({"inBetweens":)", reasons.inBetweens, appendInBetween);
  appendArrayField(json, R"(,"pairs":)", reasons.pairs, appendPair);
  appendArrayField(json, R"(,"revivals":)", reasons.revivals, appendRevival);
  appendArrayField(json, R"(,"tracks":)", reasons.tracks, appendTrack);
  json += '}';
}

}  // namespace nivra::hostkit
