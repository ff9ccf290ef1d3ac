#pragma once

#include <cmath>
#include <utility>
#include <vector>

#include "nivra/explanation.h"
#include "nivra/geometry.h"

/// How rules tell what they found. A rule is a function that ends in hear(rule, figure, limit, holds), and does as that
/// returns: `Unheard` has it as fast as the bare comparison, the others write down what they hear.
namespace nivra {

/// Hears nobody out.
struct Unheard {
  template <class Number>
  bool operator()(Rule, Number, Number, bool holds) const {
    return holds;
  }
};

/// By which section's names parameters are called; those of the re-identification tracker have but one.
enum class RuleSection { usual, lowFps };

/// The parameter that sets the limit of a rule; empty where none does.
const char* parameterOf(Rule rule, RuleSection section);

/// Writes down what rules say.
class Hearing {
 public:
  explicit Hearing(RuleSection ruleSection = RuleSection::usual) : section(ruleSection) {}

  template <class Number>
  bool operator()(Rule rule, Number figure, Number limit, bool holds) {
    verdicts.push_back(
        {rule, holds, static_cast<double>(figure), static_cast<double>(limit), parameterOf(rule, section)});
    return holds;
  }

  std::vector<Verdict> take() { return std::exchange(verdicts, {}); }

 private:
  RuleSection section;
  std::vector<Verdict> verdicts;
};

/// Hears out the gates of a pair: also those behind one that refuses it, unless the pair is too far apart to matter.
class PairHearing {
 public:
  PairHearing(RuleSection section, bool pairIsNear) : hearing(section), isNear(pairIsNear) {}

  template <class Number>
  bool operator()(Rule rule, Number figure, Number limit, bool holds) {
    constexpr Number kNear = 3;
    hearing(rule, figure, limit, holds);
    isRefused = isRefused || !holds;
    return doesMatter = doesMatter && (holds || isNear || figure <= kNear * limit);
  }

  bool isWorthTelling() const { return doesMatter; }
  bool isAdmitted() const { return !isRefused; }
  Hearing& rest() { return hearing; }

 private:
  Hearing hearing;
  bool isNear;
  bool isRefused = false;
  bool doesMatter = true;
};

/// Whether the centres of two boxes lie within three of their mean sizes.
inline bool areNear(const Box& a, const Box& b) {
  constexpr float kHalfOfThree = 1.5F;
  const Point from = center(a);
  const Point to = center(b);
  return std::abs(to.x - from.x) <= kHalfOfThree * (width(a) + width(b)) &&
         std::abs(to.y - from.y) <= kHalfOfThree * (height(a) + height(b));
}

}  // namespace nivra
