#include "hostkit/explaining/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>

namespace nivra::hostkit {

namespace {

enum class Unit { number, time, none };

struct RuleWords {
  Rule rule;
  const char* text;   // with a place for the figure
  const char* limit;  // what stands before the limit
  Unit unit = Unit::number;
};

constexpr RuleWords allWords[] = {
    {Rule::label, "a label that such tracks don't take", "", Unit::none},
    {Rule::horizontalOffset, "centre {} widths to the side", "at most"},
    {Rule::personOffset, "centre {} widths to the side", "at most"},
    {Rule::verticalOffset, "centre {} heights above or below", "at most"},
    {Rule::widthChange, "width changed by {} of itself", "at most"},
    {Rule::heightChange, "height changed by {} of itself", "at most"},
    {Rule::filterDistance, "{} squared deviations from where the filter expects it", "at most"},
    {Rule::edgeDistance, "edges {} deviations from where the filter expects them", "at most"},
    {Rule::overlapDistance, "1 - IoU of {}", "at most"},
    {Rule::featureDistance, "appearance {} away", "at most"},
    {Rule::turn, "only after surer tracks and cleaner detections, in turn {}", "the winner's being"},
    {Rule::cost, "a cost of {}", "the winner's being"},
    {Rule::order, "the same cost, place {}", "the winner's being"},
    {Rule::objectnessMargin, "objectness {} below both neighbours", "at least"},
    {Rule::neighbourAngle, "between its neighbours at a cosine of {}", "at most"},
    {Rule::sameLabel, "another label", "", Unit::none},
    {Rule::absence, "begun {} after the other was seen last", "above", Unit::time},
    {Rule::galleryDistance, "galleries {} apart", "at most"},
    {Rule::survival, "smoothed log-likelihood {}", "lives from"},
    {Rule::confidence, "smoothed log-likelihood {}", "confident from"},
    {Rule::confirmation, "smoothed log-likelihood {}", "confirmed above"},
    {Rule::confirmationAge, "{} old", "confirmed from", Unit::time},
    {Rule::identityAge, "{} old", "an identity of its own from", Unit::time},
    {Rule::identityFeatures, "{} features", "an identity of its own from"},
    {Rule::tentativeAge, "{} without detection while tentative", "at most", Unit::time},
    {Rule::youth, "seen for {}", "young below", Unit::time},
    {Rule::youngAge, "{} without detection while young", "at most", Unit::time},
    {Rule::expiryAge, "{} without detection", "at most", Unit::time},
    {Rule::activeAge, "{} without detection", "lost after", Unit::time},
    {Rule::reviveAttempts, "compared {} times", "tried out from"},
    {Rule::dynamicReviveAge, "{} without detection and tried out", "at most", Unit::time},
    {Rule::reviveAge, "{} without detection while lost", "at most", Unit::time},
};

const RuleWords& wordsOf(Rule rule) {
  return *std::find_if(std::begin(allWords), std::end(allWords),
                       [rule](const RuleWords& each) { return each.rule == rule; });
}

constexpr int kMostDigits = 9;

/// A number of so many digits, without exponent where all of them stand before the point.
std::string withDigits(double number, int digits) {
  const bool isLarge = std::abs(number) >= std::pow(10.0, digits) && std::abs(number) < 1e9;
  return isLarge ? fmt::format("{:.0f}", number) : fmt::format("{:.{}g}", number, digits);
}

/// Two numbers with as few digits as tell them apart.
std::pair<std::string, std::string> toldApart(double figure, double limit) {
  constexpr int kFewest = 3;
  int digits = kFewest;
  while (digits < kMostDigits && figure != limit && withDigits(figure, digits) == withDigits(limit, digits)) ++digits;
  return {withDigits(figure, digits), withDigits(limit, digits)};
}

}  // namespace

std::string shown(double number) { return withDigits(number, 4); }

std::string shownTime(double nanoseconds) { return fmt::format("{:.4g} s", nanoseconds * 1e-9); }

std::string inWords(const Verdict& verdict) {
  const RuleWords& words = wordsOf(verdict.rule);
  if (words.unit == Unit::none) return words.text;
  const double scale = words.unit == Unit::time ? 1e-9 : 1.0;
  const char* const unit = words.unit == Unit::time ? " s" : "";
  const auto [figure, limit] = toldApart(verdict.figure * scale, verdict.limit * scale);
  const std::string text = fmt::format(fmt::runtime(words.text), figure + unit);
  const std::string parameter = *verdict.parameter == '\0' ? "" : fmt::format(" ({})", verdict.parameter);
  return fmt::format("{}, {} {}{}{}", text, words.limit, limit, unit, parameter);
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

double marginOf(const Verdict& verdict) {
  const double most = std::max(std::abs(verdict.figure), std::abs(verdict.limit));
  return most > 0.0 ? std::abs(verdict.figure - verdict.limit) / most : 0.0;
}

std::string handyValue(const Verdict& verdict) {
  const std::string exact = flippingValue(verdict);
  if (exact.empty()) return exact;
  const double value = std::strtod(exact.c_str(), nullptr);
  const bool isAbove = value > verdict.limit;
  const bool isTime = wordsOf(verdict.rule).unit == Unit::time;
  constexpr double kMillisecond = 1e6;
  if (isTime) {
    const double rounded =
        (isAbove ? std::ceil(value / kMillisecond) : std::floor(value / kMillisecond)) * kMillisecond;
    return fmt::format("{:.0f}", rounded);
  }
  // A little farther, as far as that makes it short.
  constexpr double kFarther = 0.02;
  for (int digits = 1; digits <= kMostDigits && exact.find('.') != std::string::npos; ++digits) {
    const double unit = std::pow(10.0, std::floor(std::log10(std::abs(value))) + 1 - digits);
    const double rounded = (isAbove ? std::ceil(value / unit) : std::floor(value / unit)) * unit;
    if (std::abs(rounded - value) <= kFarther * std::abs(value)) return fmt::format("{:.{}g}", rounded, digits + 1);
  }
  return exact;
}

}  // namespace nivra::hostkit
