#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "hostkit/counting/zones.h"
#include "hostkit/formats/format.h"

namespace nivra::hostkit {

struct EventOptions {
  Zones zones;
  std::optional<std::uint64_t> every;  // ns between counts of a camera, by its frames; at its end alone if not given
};

/// Writes what happens instead of tracks: a line of JSON for each event and for each count. docs/events.md tells what
/// they hold.
/// @param options Outlive the writer.
std::unique_ptr<TrackWriter> writeEvents(const EventOptions& options);

}  // namespace nivra::hostkit
