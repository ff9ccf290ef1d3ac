#include "nivra/attributeFilter.h"

#include <algorithm>
#include <tuple>

#include "core/scoreOrder.h"

namespace nivra {

AttributeFilter::AttributeFilter(const std::vector<AttributeClassification>& initialAttributes)
    : attributes(initialAttributes) {
  for (const AttributeClassification& attribute : initialAttributes) scoreOf(attribute).score = attribute.score;
}

AttributeFilter::Score& AttributeFilter::scoreOf(const AttributeClassification& attribute) {
  const auto isBefore = [](const Score& score, const AttributeClassification& searched) {
    return std::tie(score.attributeType, score.attributeValue) <
           std::tie(searched.attributeType, searched.attributeValue);
  };
  const auto [type, value, newScore] = attribute;
  const auto place = std::lower_bound(scores.begin(), scores.end(), attribute, isBefore);
  const bool isKnown = place != scores.end() && place->attributeType == type && place->attributeValue == value;
  return isKnown ? *place : *scores.insert(place, {type, value, 0.0F, false});
}

void AttributeFilter::update(const std::vector<AttributeClassification>& newAttributes, float gain) {
  if (newAttributes.empty() && scores.empty()) return;
  blend(newAttributes, gain);
  rebuildReport([](auto first, auto last) { return std::any_of(first, last, [](const Score& s) { return s.seen; }); });
}

std::map<int, std::set<int>> AttributeFilter::updateAttributeScores(
    const std::vector<AttributeClassification>& newAttributes, float gain) {
  blend(newAttributes, gain);
  std::map<int, std::set<int>> seen;
  for (const Score& score : scores) {
    if (score.seen) seen[score.attributeType].insert(score.attributeValue);
  }
  return seen;
}

void AttributeFilter::blend(const std::vector<AttributeClassification>& newAttributes, float gain) {
  for (Score& score : scores) score.seen = false;
  for (const AttributeClassification& attribute : newAttributes) {
    Score& entry = scoreOf(attribute);
    entry.score += (attribute.score - entry.score) * gain;
    entry.seen = true;
  }
  for (Score& score : scores) {
    if (!score.seen) score.score *= 1.0F - gain;
  }
}

void AttributeFilter::aggregateAttributes(std::map<int, std::set<int>> seen) {
  rebuildReport([&seen](auto first, auto) { return seen.count(first->attributeType) != 0; });
}

template <class IsReported>
void AttributeFilter::rebuildReport(IsReported isReported) {
  attributes.clear();
  for (auto first = scores.begin(); first != scores.end();) {
    const std::int32_t type = first->attributeType;
    const auto last = std::find_if(first, scores.end(), [type](const Score& s) { return s.attributeType != type; });
    if (isReported(first, last)) {
      const auto firstReport = static_cast<std::ptrdiff_t>(attributes.size());
      for (; first != last; ++first) attributes.push_back({type, first->attributeValue, first->score});
      std::sort(attributes.begin() + firstReport, attributes.end(), [](const auto& a, const auto& b) {
        if (descending(a.score, b.score)) return true;
        return !descending(b.score, a.score) && a.attributeValue < b.attributeValue;
      });
    }
    first = last;
  }
}

void AttributeFilter::emptyUpdate(float factor) {
  for (AttributeClassification& attribute : attributes) attribute.score *= factor;
  for (Score& score : scores) score.score *= factor;
}

}  // namespace nivra
