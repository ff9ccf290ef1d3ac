#pragma once

/// @file
/// Smoothing of a track's attribute scores.

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "nivra/export.h"
#include "nivra/objectDetection.h"

namespace nivra {

/// Keeps one exponentially smoothed score for every (attribute, value) pair that a track has ever shown.
///
/// A pair seen in a frame moves towards its new score by the fraction `gain`; every other pair moves
/// towards 0 by the same fraction and is never forgotten. Scores are not clamped.
class NIVRA_EXPORT AttributeFilter {
 public:
  /// Starts with the given scores, reported in the given order until the first `update`.
  explicit AttributeFilter(const std::vector<AttributeClassification>& initialAttributes);

  /// Takes the attributes of one detection in and rebuilds the report.
  /// @param gain Weight of the new scores, 0 to 1.
  void update(const std::vector<AttributeClassification>& newAttributes, float gain);

  /// First half of `update`: blends new scores in and fades all others.
  /// @return The values seen, by attribute.
  std::map<int, std::set<int>> updateAttributeScores(const std::vector<AttributeClassification>& newAttributes,
                                                     float gain);

  /// Second half of `update`: the report becomes every known value of the attributes in `seen`, attributes
  /// ascending, within each the best score first and equal scores by ascending value.
  void aggregateAttributes(std::map<int, std::set<int>> seen);

  /// Fades all scores for a frame without a detection; the report keeps its entries and their order.
  void emptyUpdate(float factor);

  /// The current report.
  std::vector<AttributeClassification> report() const { return attributes; }
  /// The same without a copy; changes with the next update.
  const std::vector<AttributeClassification>& getAttributes() const { return attributes; }

 private:
  template <class Archive>
  friend void fields(Archive& archive, AttributeFilter& filter);

  struct Score {
    std::int32_t attributeType;
    std::int32_t attributeValue;
    float score;
    bool seen;  // in the latest detection
  };

  /// The score of a pair, 0 if it is new.
  NIVRA_HIDDEN Score& scoreOf(const AttributeClassification& attribute);
  NIVRA_HIDDEN void blend(const std::vector<AttributeClassification>& newAttributes, float gain);
  template <class IsReported>
  NIVRA_HIDDEN void rebuildReport(IsReported isReported);

  std::vector<AttributeClassification> attributes;
  std::vector<Score> scores;  // ascending by attribute, then value
};

}  // namespace nivra
