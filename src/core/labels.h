#pragma once

#include <string>
#include <string_view>

#include "nivra/objectTracker.h"

namespace nivra {

/// Whether two labels are equal; for texts as short as labels a loop is done before a call of memcmp has begun.
inline bool areEqual(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = a.size(); i-- > 0;) {
    if (a[i] != b[i]) return false;
  }
  return true;
}

/// The label of people, whom some trackers treat differently from everything else.
inline constexpr std::string_view kPersonLabel = "human";

/// Whether a track of one label may take a detection of another. A label without an entry takes nothing.
inline bool isAdmissible(const LabelAssociations& labelAssociations, const std::string& trackLabel,
                         const std::string& detectionLabel) {
  const auto admissible = labelAssociations.find(trackLabel);
  return admissible != labelAssociations.end() && admissible->second.count(detectionLabel) != 0;
}

}  // namespace nivra
