#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "nivra/explanation.h"

namespace nivra {

namespace {

using Outcome = Decision::Outcome;
using Change = TrackExplanation::Change;

enum class Unit { number, time, none };

struct RuleWords {
  Rule rule;
  const char* name;
  const char* text;   // with a place for the figure
  const char* limit;  // what stands before the limit
  Unit unit = Unit::number;
};

constexpr RuleWords allWords[] = {
    {Rule::label, "label", "a label that such tracks don't take", "", Unit::none},
    {Rule::horizontalOffset, "horizontalOffset", "centre {} widths to the side", "at most"},
    {Rule::personOffset, "personOffset", "centre {} widths to the side", "at most"},
    {Rule::verticalOffset, "verticalOffset", "centre {} heights above or below", "at most"},
    {Rule::widthChange, "widthChange", "width changed by {} of itself", "at most"},
    {Rule::heightChange, "heightChange", "height changed by {} of itself", "at most"},
    {Rule::filterDistance, "filterDistance", "{} squared deviations from where the filter expects it", "at most"},
    {Rule::edgeDistance, "edgeDistance", "edges {} deviations from where the filter expects them", "at most"},
    {Rule::overlapDistance, "overlapDistance", "1 - IoU of {}", "at most"},
    {Rule::featureDistance, "featureDistance", "appearance {} away", "at most"},
    {Rule::turn, "turn", "a less sure track or detection, which waits for turn {}", "behind the winner's"},
    {Rule::cost, "cost", "a cost of {}", "above the winner's"},
    {Rule::order, "order", "the same cost, place {}", "behind the winner's"},
    {Rule::objectnessMargin, "objectnessMargin", "objectness {} below both neighbours", "at least"},
    {Rule::neighbourAngle, "neighbourAngle", "between its neighbours at a cosine of {}", "at most"},
    {Rule::sameLabel, "sameLabel", "another label", "", Unit::none},
    {Rule::absence, "absence", "begun {} after the other was seen last", "above", Unit::time},
    {Rule::galleryDistance, "galleryDistance", "galleries {} apart", "at most"},
    {Rule::survival, "survival", "smoothed log-likelihood {}", "lives from"},
    {Rule::confidence, "confidence", "smoothed log-likelihood {}", "confident from"},
    {Rule::confirmation, "confirmation", "smoothed log-likelihood {}", "confirmed above"},
    {Rule::confirmationAge, "confirmationAge", "{} old", "confirmed from", Unit::time},
    {Rule::identityAge, "identityAge", "{} old", "an identity of its own from", Unit::time},
    {Rule::identityFeatures, "identityFeatures", "{} features", "an identity of its own from"},
    {Rule::tentativeAge, "tentativeAge", "{} without detection while tentative", "at most", Unit::time},
    {Rule::youth, "youth", "seen for {}", "young below", Unit::time},
    {Rule::youngAge, "youngAge", "{} without detection while young", "at most", Unit::time},
    {Rule::expiryAge, "expiryAge", "{} without detection", "at most", Unit::time},
    {Rule::activeAge, "activeAge", "{} without detection", "lost after", Unit::time},
    {Rule::reviveAttempts, "reviveAttempts", "compared {} times", "tried out from"},
    {Rule::dynamicReviveAge, "dynamicReviveAge", "{} without detection and tried out", "at most", Unit::time},
    {Rule::reviveAge, "reviveAge", "{} without detection while lost", "at most", Unit::time},
};

const RuleWords& wordsOf(Rule rule) {
  return *std::find_if(std::begin(allWords), std::end(allWords),
                       [rule](const RuleWords& each) { return each.rule == rule; });
}

/// A number of so many digits, without exponent where all of them stand before the point.
std::string withDigits(double number, int digits) {
  const bool isLarge = std::abs(number) >= std::pow(10.0, digits) && std::abs(number) < 1e9;
  char text[32];
  const auto [end, fault] =
      std::to_chars(std::begin(text), std::end(text), number,
                    isLarge ? std::chars_format::fixed : std::chars_format::general, isLarge ? 0 : digits);
  return {std::begin(text), end};
}

/// Two numbers with as few digits as tell them apart.
std::pair<std::string, std::string> toldApart(double figure, double limit) {
  constexpr int kFewest = 3;
  constexpr int kMost = 9;
  int digits = kFewest;
  while (digits < kMost && figure != limit && withDigits(figure, digits) == withDigits(limit, digits)) ++digits;
  return {withDigits(figure, digits), withDigits(limit, digits)};
}

const char* verbOf(Change change) {
  switch (change) {
    case Change::none:
      return " goes on";
    case Change::began:
      return " began";
    case Change::confirmed:
      return " was confirmed";
    case Change::identified:
      return " got an identity of its own";
    case Change::lost:
      return " was lost";
    case Change::revived:
      return " was revived";
    case Change::merged:
      return " was merged";
    case Change::ended:
      return " ended";
  }
  return "";
}

/// How far a figure is from its limit, as a share of the larger of the two.
double marginOf(const Verdict& verdict) {
  const double most = std::max(std::abs(verdict.figure), std::abs(verdict.limit));
  return most > 0.0 ? std::abs(verdict.figure - verdict.limit) / most : 0.0;
}

std::string because(const std::string& reason) { return reason.empty() ? "" : ": " + reason; }

}  // namespace

const char* nameOf(Rule rule) { return wordsOf(rule).name; }

const char* nameOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::refused:
      return "refused";
    case Outcome::outbid:
      return "outbid";
    case Outcome::matched:
      return "matched";
  }
  return "";
}

const char* nameOf(Change change) {
  switch (change) {
    case Change::none:
      return "none";
    case Change::began:
      return "began";
    case Change::confirmed:
      return "confirmed";
    case Change::identified:
      return "identified";
    case Change::lost:
      return "lost";
    case Change::revived:
      return "revived";
    case Change::merged:
      return "merged";
    case Change::ended:
      return "ended";
  }
  return "";
}

std::string inWords(const Verdict& verdict) {
  const RuleWords& words = wordsOf(verdict.rule);
  std::string text = words.text;
  if (words.unit == Unit::none) return text;
  const std::string unit = words.unit == Unit::time ? " s" : "";
  const double scale = words.unit == Unit::time ? 1e-9 : 1.0;
  const auto [figure, limit] = toldApart(verdict.figure * scale, verdict.limit * scale);
  constexpr char kPlace[] = "{}";
  text.replace(text.find(kPlace), sizeof kPlace - 1, figure + unit);
  text.append(", ").append(words.limit).append(" ").append(limit).append(unit);
  if (*verdict.parameter != '\0') text.append(" (").append(verdict.parameter).append(")");
  return text;
}

std::string refusalsInWords(const std::vector<Verdict>& verdicts) {
  std::string text;
  for (const Verdict& each : verdicts) {
    if (each.holds) continue;
    if (!text.empty()) text += "; ";
    text += inWords(each);
  }
  return text;
}

std::optional<Verdict> decisiveVerdict(const TrackExplanation& explanation) {
  const bool isLoss = explanation.change == Change::ended || explanation.change == Change::lost;
  std::optional<Verdict> decisive;
  for (const Verdict& each : explanation.verdicts) {
    if (each.rule == Rule::confidence || each.holds == isLoss) continue;
    const bool isOfGain = each.rule != Rule::survival && (!decisive || marginOf(each) < marginOf(*decisive));
    if (isLoss || isOfGain) decisive = each;
  }
  return decisive;
}

std::string inWords(const InBetweenExplanation& explanation) {
  const auto& [one, other] = explanation.neighbours;
  const std::string refusals = refusalsInWords(explanation.verdicts);
  return "detection " + std::to_string(explanation.middle) + (refusals.empty() ? " lies" : " does not lie") +
         " between " + std::to_string(one) + " and " + std::to_string(other) + because(refusals);
}

std::string inWords(const PairExplanation& explanation) {
  const auto& [pair, rival] = std::pair(explanation.pair, explanation.rival);
  const std::string track = "id " + std::to_string(pair.track);
  const std::string detection = "detection " + std::to_string(pair.detection);
  const std::string refusals = because(refusalsInWords(explanation.verdicts));
  if (explanation.outcome == Outcome::refused) return track + " refused " + detection + refusals;
  if (explanation.outcome == Outcome::matched) return track + " took " + detection;
  if (rival.track != pair.track)
    return track + " lost " + detection + " to id " + std::to_string(rival.track) + refusals;
  return track + " took detection " + std::to_string(rival.detection) + " instead of " +
         std::to_string(pair.detection) + refusals;
}

std::string inWords(const RevivalExplanation& explanation) {
  const auto& [pair, rival] = std::pair(explanation.pair, explanation.rival);
  const std::string lost = "lost id " + std::to_string(pair.lost);
  const std::string young = "id " + std::to_string(pair.young);
  const std::string refusals = because(refusalsInWords(explanation.verdicts));
  if (explanation.outcome == Outcome::refused) return lost + " is not " + young + refusals;
  if (explanation.outcome == Outcome::matched) return lost + " is " + young;
  return lost + " is not " + young + ", but lost id " + std::to_string(rival.lost) + " is id " +
         std::to_string(rival.young) + refusals;
}

std::string inWords(const TrackExplanation& explanation) {
  std::string text = "id " + std::to_string(explanation.track) + verbOf(explanation.change);
  if (explanation.change == Change::none) return text;
  if (explanation.change == Change::began && explanation.detection) {
    text += " with detection " + std::to_string(*explanation.detection);
  }
  if (explanation.other) {
    text += explanation.change == Change::merged ? " into id " : " by id ";
    text += std::to_string(*explanation.other);
  }
  const auto verdict = decisiveVerdict(explanation);
  return verdict ? text + because(inWords(*verdict)) : text;
}

}  // namespace nivra
