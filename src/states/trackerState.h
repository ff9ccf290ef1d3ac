#pragma once

#include <cstdint>
#include <string>

#include "nivra/objectTracker.h"
#include "nivra/stateArchive.h"
#include "states/fields.h"

/// A tracker's state: its kind, what it was made of, a digest of both, and what it has learned since.
namespace nivra {

/// By the factory's selectors.
enum class TrackerKind : std::uint8_t { vanilla, reid, hybrid, lowFps };

inline constexpr StateKind kTrackerState = {0x5254564EU, 1, "tracker"};  // "NVTR"

/// What a tracker is made of.
template <class TrackerParams>
struct Configuration {
  TrackerParams params;
  LabelAssociations associations;
};

/// @return Its digest, together with the kind.
template <class TrackerParams>
std::uint64_t writeConfiguration(StateWriter& writer, TrackerKind kind,
                                 const Configuration<TrackerParams>& configuration) {
  writer(kind, configuration.params, configuration.associations);
  return writer.digest();
}

template <class TrackerParams>
std::uint64_t digestOf(TrackerKind kind, const Configuration<TrackerParams>& configuration) {
  std::string bytes;
  StateWriter writer(bytes, kTrackerState);
  return writeConfiguration(writer, kind, configuration);
}

/// @param tracker Has fields(writer).
template <class TrackerParams, class Tracker>
void writeTracker(std::string& bytes, TrackerKind kind, const Configuration<TrackerParams>& configuration,
                  Tracker& tracker) {
  StateWriter writer(bytes, kTrackerState);
  writer(writeConfiguration(writer, kind, configuration));
  tracker.fields(writer);
  writer.seal();
}

}  // namespace nivra
