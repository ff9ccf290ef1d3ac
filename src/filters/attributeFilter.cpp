#include "nivra/attributeFilter.h"

#include <algorithm>
#include <utility>

#include "core/scoreOrder.h"

namespace nivra {

AttributeFilter::AttributeFilter(const std::vector<AttributeClassification>& initialAttributes)
    : attributes(initialAttributes) {
  for (const AttributeClassification& attribute : initialAttributes) {
    attributeScores[attribute.attributeType][attribute.attributeValue] = attribute.score;
  }
}

void AttributeFilter::update(const std::vector<AttributeClassification>& newAttributes, float gain) {
  aggregateAttributes(updateAttributeScores(newAttributes, gain));
}

std::map<int, std::set<int>> AttributeFilter::updateAttributeScores(
    const std::vector<AttributeClassification>& newAttributes, float gain) {
  std::map<int, std::set<int>> seen;
  for (const AttributeClassification& attribute : newAttributes) {
    float& score = attributeScores[attribute.attributeType].try_emplace(attribute.attributeValue, 0.0F).first->second;
    score += (attribute.score - score) * gain;
    seen[attribute.attributeType].insert(attribute.attributeValue);
  }
  for (auto& [type, scores] : attributeScores) {
    const auto seenValues = seen.find(type);
    for (auto& [value, score] : scores) {
      if (seenValues == seen.end() || seenValues->second.count(value) == 0) score *= 1.0F - gain;
    }
  }
  return seen;
}

void AttributeFilter::aggregateAttributes(std::map<int, std::set<int>> seen) {
  attributes.clear();
  for (const auto& [type, scores] : attributeScores) {
    if (seen.count(type) == 0) continue;
    const auto first = static_cast<std::ptrdiff_t>(attributes.size());
    for (const auto& [value, score] : scores) attributes.push_back({type, value, score});
    // Stable, so that equal scores keep the ascending order of their values.
    std::stable_sort(attributes.begin() + first, attributes.end(),
                     [](const auto& a, const auto& b) { return descending(a.score, b.score); });
  }
}

void AttributeFilter::emptyUpdate(float factor) {
  for (AttributeClassification& attribute : attributes) attribute.score *= factor;
  for (auto& [type, scores] : attributeScores) {
    for (auto& [value, score] : scores) score *= factor;
  }
}

}  // namespace nivra
