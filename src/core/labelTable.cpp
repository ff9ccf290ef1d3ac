#include "core/labelTable.h"

#include <set>

#include "core/labels.h"

namespace nivra {

LabelTable::LabelTable(const LabelAssociations& associations) {
  std::set<std::string> all;
  for (const auto& [label, detectionLabels] : associations) {
    all.insert(label);
    all.insert(detectionLabels.begin(), detectionLabels.end());
  }
  labels.emplace_back();
  labels.insert(labels.end(), all.begin(), all.end());

  std::size_t buckets = 1;
  while (buckets < 4 * labels.size()) buckets *= 2;
  firstOfBucket.assign(buckets, kUnknown);
  nextOfBucket.assign(labels.size(), kUnknown);
  entries.assign(labels.size(), 0);
  admissible.assign(labels.size() * labels.size(), 0);
  for (std::uint32_t number = 1; number < labels.size(); ++number) {
    std::uint32_t& first = firstOfBucket[bucketOf(labels[number])];
    nextOfBucket[number] = first;
    first = number;
    entries[number] = associations.count(labels[number]) != 0 ? 1 : 0;
    for (std::size_t other = 1; other < labels.size(); ++other) {
      const bool isAdmissible = nivra::isAdmissible(associations, labels[number], labels[other]);
      admissible[number * labels.size() + other] = isAdmissible ? 1 : 0;
    }
  }
}

}  // namespace nivra
