#include "nivra/explanation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>

#include "core/hearing.h"

namespace nivra {

namespace {

enum class Comparison { atMost, atLeast, above, below };

enum class Unit {
  number,      // in single precision
  percentage,  // likewise; differences of two are rounded, so a value next to one need not differ from it
  count,       // of nanoseconds or pieces
};

struct RuleRow {
  Rule rule;
  Comparison comparison;
  Unit unit;
  const char* parameter;                  // that sets the limit
  const char* lowFpsParameter = nullptr;  // likewise, if the low-frame-rate tracker has another one
};

/// The rules whose limits are parameters.
constexpr RuleRow rows[] = {
    {Rule::horizontalOffset, Comparison::atMost, Unit::number, "vanilla.widthFactorGating",
     "vanillaLowFps.widthFactorGating"},
    {Rule::verticalOffset, Comparison::atMost, Unit::number, "vanilla.heightFactorGating",
     "vanillaLowFps.heightFactorGating"},
    {Rule::widthChange, Comparison::atMost, Unit::number, "vanilla.widthRelativeDiffGating",
     "vanillaLowFps.widthRelativeDiffGating"},
    {Rule::heightChange, Comparison::atMost, Unit::number, "vanilla.heightRelativeDiffGating",
     "vanillaLowFps.heightRelativeDiffGating"},
    {Rule::survival, Comparison::atLeast, Unit::number, "vanilla.expirationLikelihoodThreshold",
     "vanillaLowFps.expirationLikelihoodThreshold"},
    {Rule::confidence, Comparison::atLeast, Unit::number, "vanilla.confidentLikelihoodThreshold",
     "vanillaLowFps.confidentLikelihoodThreshold"},
    {Rule::confirmation, Comparison::above, Unit::number, "vanilla.confidentLikelihoodThreshold",
     "vanillaLowFps.confidentLikelihoodThreshold"},
    {Rule::edgeDistance, Comparison::atMost, Unit::number, "reid.kalman4d.mahalanobisLimit"},
    {Rule::overlapDistance, Comparison::atMost, Unit::number, "reid.maxIouDistance"},
    {Rule::featureDistance, Comparison::atMost, Unit::number, "reid.maxFeatureDistance"},
    {Rule::objectnessMargin, Comparison::atLeast, Unit::percentage, "reid.inbetweenIouScoreMargin"},
    {Rule::neighbourAngle, Comparison::atMost, Unit::number, "reid.inbetweenAngleThreshold"},
    {Rule::galleryDistance, Comparison::atMost, Unit::number, "reid.maxReviveFeatureDistance"},
    {Rule::confirmationAge, Comparison::atLeast, Unit::count, "reid.minTimeBeforeConfident"},
    {Rule::identityAge, Comparison::atLeast, Unit::count, "reid.minTimeBeforeConfidentId"},
    {Rule::identityFeatures, Comparison::atLeast, Unit::count, "reid.minConfidentFeatureVectors"},
    {Rule::tentativeAge, Comparison::atMost, Unit::count, "reid.maxTentativeAge"},
    {Rule::youth, Comparison::below, Unit::count, "reid.minTimeBeforeConfidentId"},
    {Rule::youngAge, Comparison::atMost, Unit::count, "reid.maxConfidentAge"},
    {Rule::expiryAge, Comparison::atMost, Unit::count, "reid.expiryAge"},
    {Rule::activeAge, Comparison::atMost, Unit::count, "reid.inactiveAge"},
    {Rule::reviveAttempts, Comparison::below, Unit::count, "reid.maxReviveAttempts"},
    {Rule::dynamicReviveAge, Comparison::atMost, Unit::count, "reid.maxDynamicReviveAge"},
    {Rule::reviveAge, Comparison::atMost, Unit::count, "reid.maxReviveAge"},
};

const RuleRow* rowOf(Rule rule) {
  const auto* const found =
      std::find_if(std::begin(rows), std::end(rows), [rule](const RuleRow& row) { return row.rule == rule; });
  return found == std::end(rows) ? nullptr : found;
}

/// Which way the limit has to go past the figure: 0 if it is enough to meet it.
int stepPast(Comparison comparison, bool holds) {
  switch (comparison) {
    case Comparison::atMost:
      return holds ? -1 : 0;
    case Comparison::atLeast:
      return holds ? 1 : 0;
    case Comparison::above:
      return holds ? 0 : -1;
    case Comparison::below:
      return holds ? 0 : 1;
  }
  return 0;
}

}  // namespace

const char* parameterOf(Rule rule, RuleSection section) {
  const RuleRow* const row = rowOf(rule);
  if (row == nullptr) return "";
  return section == RuleSection::lowFps && row->lowFpsParameter != nullptr ? row->lowFpsParameter : row->parameter;
}

std::string flippingValue(const Verdict& verdict) {
  const RuleRow* const row = rowOf(verdict.rule);
  if (row == nullptr || !std::isfinite(verdict.figure)) return "";
  const int step = stepPast(row->comparison, verdict.holds);
  if (row->unit == Unit::count) {
    const double value = verdict.figure + step;
    return value < 0.0 ? "" : std::to_string(static_cast<std::uint64_t>(value));
  }
  auto value = static_cast<float>(verdict.figure);
  constexpr float kPercentageStep = 1e-4F;
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  if (row->unit == Unit::percentage) value += kPercentageStep * static_cast<float>(step);
  if (step != 0) value = std::nextafter(value, step < 0 ? -kInfinity : kInfinity);
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
  return text;
}

Explainer::~Explainer() = default;
void Explainer::explainInBetween(const InBetweenExplanation& /*explanation*/) {}
void Explainer::explainPair(const PairExplanation& /*explanation*/) {}
void Explainer::explainRevival(const RevivalExplanation& /*explanation*/) {}
void Explainer::explainTrack(const TrackExplanation& /*explanation*/) {}

}  // namespace nivra
