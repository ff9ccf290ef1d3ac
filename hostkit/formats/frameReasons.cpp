#include "hostkit/formats/frameReasons.h"

#include <cstddef>

#include "hostkit/text/jsonText.h"

namespace nivra::hostkit {

namespace {

void appendMembers(TextBuffer& json, const PairExplanation::Members& members) {
  appendField(json, R"("track":)", members.track, appendWhole);
  appendField(json, R"(,"detection":)", members.detection, appendWhole);
}

void appendMembers(TextBuffer& json, const RevivalExplanation::Members& members) {
  appendField(json, R"("lost":)", members.lost, appendWhole);
  appendField(json, R"(,"young":)", members.young, appendWhole);
}

/// Of two that might have gone together, whichever kind they are.
constexpr auto appendDecision = [](TextBuffer& json, const auto& explanation) {
  json += '{';
  appendMembers(json, explanation.pair);
  if (explanation.outcome == Decision::Outcome::outbid) {
    json += R"(,"rival":{)";
    appendMembers(json, explanation.rival);
    json += '}';
  }
  appendField(json, R"(,"outcome":)", nameOf(explanation.outcome), appendQuoted);
  if (explanation.cost) appendField(json, R"(,"cost":)", *explanation.cost, appendNumber);
  appendArrayField(json, R"(,"verdicts":)", explanation.verdicts, appendVerdict);
  json += '}';
};

void appendInBetween(TextBuffer& json, const InBetweenExplanation& explanation) {
  appendField(json, R"({"detection":)", explanation.middle, appendWhole);
  appendArrayField(json, R"(,"neighbours":)", explanation.neighbours, appendWhole);
  appendArrayField(json, R"(,"verdicts":)", explanation.verdicts, appendVerdict);
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
  if (reasons != nullptr && reasons->pairs.size() < kMostPairs) reasons->pairs.push_back(explanation);
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
  appendArrayField(json, R"(,"pairs":)", reasons.pairs, appendDecision);
  appendArrayField(json, R"(,"revivals":)", reasons.revivals, appendDecision);
  appendArrayField(json, R"(,"tracks":)", reasons.tracks, appendTrack);
  json += '}';
}

}  // namespace nivra::hostkit
