#include "core/labelTable.h"

namespace nivra {

LabelTable::LabelTable(const LabelAssociations& associations) {
  std::size_t mentions = 0;
  for (const auto& [label, detectionLabels] : associations) mentions += 1 + detectionLabels.size();
  std::size_t buckets = 1;
  while (buckets < 2 * mentions) buckets *= 2;
  firstOfBucket.assign(buckets, kUnknown);
  labels.emplace_back();
  nextOfBucket.push_back(kUnknown);
  for (const auto& [label, detectionLabels] : associations) {
    number(label);
    for (const std::string& detectionLabel : detectionLabels) number(detectionLabel);
  }

  entries.assign(labels.size(), 0);
  admissible.reserve(mentions - associations.size());
  for (const std::string& label : labels) {
    firstAdmissible.push_back(admissible.size());
    const auto entry = associations.find(label);
    if (entry == associations.end() || firstAdmissible.size() == 1) continue;
    entries[firstAdmissible.size() - 1] = 1;
    for (const std::string& detectionLabel : entry->second) admissible.push_back(numberOf(detectionLabel));
    std::sort(admissible.begin() + static_cast<std::ptrdiff_t>(firstAdmissible.back()), admissible.end());
  }
  firstAdmissible.push_back(admissible.size());
}

/// Gives a label a number, unless it has one.
void LabelTable::number(const std::string& label) {
  if (numberOf(label) != kUnknown) return;
  std::uint32_t& first = firstOfBucket[bucketOf(label)];
  nextOfBucket.push_back(first);
  first = static_cast<std::uint32_t>(labels.size());
  labels.push_back(label);
}

}  // namespace nivra
