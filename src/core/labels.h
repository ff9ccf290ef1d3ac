#pragma once

#include <string>
#include <string_view>

#include "nivra/objectTracker.h"

namespace nivra {

/// The label of people, whom some trackers treat differently from everything else.
inline constexpr std::string_view kPersonLabel = "human";

/// Whether a track of one label may take a detection of another. A label without an entry takes nothing.
inline bool isAdmissible(const LabelAssociations& labelAssociations, const std::string& trackLabel,
                         const std::string& detectionLabel) {
  const auto admissible = labelAssociations.find(trackLabel);
  return admissible != labelAssociations.end() && admissible->second.count(detectionLabel) != 0;
}

}  // namespace nivra
