#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/labels.h"
#include "nivra/objectTracker.h"

namespace nivra {

/// The label-association map with its labels numbered, so that a frame looks each label up once instead of once per
/// pair. Its memory grows with the entries of the map.
class LabelTable {
 public:
  /// Number of every label that the map doesn't mention; it is admissible nowhere.
  static constexpr std::uint32_t kUnknown = 0;

  /// The labels that a track may take, by their numbers.
  class Admissible {
   public:
    Admissible(const std::uint32_t* firstNumber, const std::uint32_t* endOfNumbers)
        : first(firstNumber), last(endOfNumbers) {}

    bool contains(std::uint32_t label) const {
      if (last - first > kFew) return std::binary_search(first, last, label);
      for (const std::uint32_t* each = first; each != last; ++each) {
        if (*each == label) return true;
      }
      return false;
    }

   private:
    static constexpr std::ptrdiff_t kFew = 8;  // looked through one after the other

    const std::uint32_t* first;  // ascending
    const std::uint32_t* last;
  };

  explicit LabelTable(const LabelAssociations& associations);

  std::uint32_t numberOf(const std::string& label) const {
    if (labels.size() <= kFew) {
      for (std::uint32_t number = 1; number < labels.size(); ++number) {
        if (areEqual(labels[number], label)) return number;
      }
      return kUnknown;
    }
    std::uint32_t number = firstOfBucket[bucketOf(label)];
    while (number != kUnknown && labels[number] != label) number = nextOfBucket[number];
    return number;
  }

  /// All labels by their numbers; in place of the unknown ones stands an empty one.
  const std::vector<std::string>& getLabels() const { return labels; }

  /// Whether the map has an entry for the label.
  bool hasEntry(std::uint32_t label) const { return entries[label] != 0; }

  /// The labels of detections that a track of the given label may take; says the same as `nivra::isAdmissible`.
  Admissible admissibleTo(std::uint32_t trackLabel) const {
    return {admissible.data() + firstAdmissible[trackLabel], admissible.data() + firstAdmissible[trackLabel + 1]};
  }

 private:
  static constexpr std::size_t kFew = 6;  // labels that are compared faster than one is hashed

  void number(const std::string& label);

  std::size_t bucketOf(const std::string& label) const {
    // FNV-1a over all letters: labels that differ in the middle alone are as many as those that differ at the ends.
    std::uint32_t hash = 2166136261U;
    for (const char letter : label) hash = (hash ^ static_cast<unsigned char>(letter)) * 16777619U;
    return hash & (firstOfBucket.size() - 1);
  }

  std::vector<std::string> labels;           // by number; the first stands for all unknown ones
  std::vector<std::uint32_t> firstOfBucket;  // a power of two of them
  std::vector<std::uint32_t> nextOfBucket;   // by number
  std::vector<char> entries;                 // by number
  std::vector<std::size_t> firstAdmissible;  // by number, and the end of the last one's
  std::vector<std::uint32_t> admissible;     // label by label, ascending within each
};

}  // namespace nivra
