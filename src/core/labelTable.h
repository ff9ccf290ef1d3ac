#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nivra/objectTracker.h"

namespace nivra {

/// The label-association map with its labels numbered, so that a frame looks each label up once instead of once per
/// pair.
class LabelTable {
 public:
  /// Number of every label that the map doesn't mention; it is admissible nowhere.
  static constexpr std::uint32_t kUnknown = 0;

  explicit LabelTable(const LabelAssociations& associations);

  std::uint32_t numberOf(const std::string& label) const {
    std::uint32_t number = firstOfBucket[bucketOf(label)];
    while (number != kUnknown && labels[number] != label) number = nextOfBucket[number];
    return number;
  }

  /// All labels by their numbers; in place of the unknown ones stands an empty one.
  const std::vector<std::string>& getLabels() const { return labels; }

  /// Whether the map has an entry for the label.
  bool hasEntry(std::uint32_t label) const { return entries[label] != 0; }

  /// Whether a track of one label may take a detection of another; says the same as `nivra::isAdmissible`.
  bool isAdmissible(std::uint32_t trackLabel, std::uint32_t detectionLabel) const {
    return admissible[trackLabel * labels.size() + detectionLabel] != 0;
  }

 private:
  /// A hash that tells ordinary labels apart without reading more of them than their ends.
  std::size_t bucketOf(const std::string& label) const {
    if (label.empty()) return 0;
    const auto first = static_cast<unsigned char>(label.front());
    const auto last = static_cast<unsigned char>(label.back());
    return (label.size() + first * 5U + last * 17U) & (firstOfBucket.size() - 1);
  }

  std::vector<std::string> labels;           // by number; the first stands for all unknown ones
  std::vector<std::uint32_t> firstOfBucket;  // a power of two of them
  std::vector<std::uint32_t> nextOfBucket;   // by number
  std::vector<char> entries;                 // by number
  std::vector<char> admissible;              // by track label, then detection label
};

}  // namespace nivra
