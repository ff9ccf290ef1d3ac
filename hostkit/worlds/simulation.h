#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "hostkit/formats/format.h"
#include "hostkit/worlds/random.h"
#include "hostkit/worlds/world.h"

namespace nivra::hostkit {

/// A camera that watches a made-up world, and a detector behind it. The same options give the same records on every
/// machine.
class Simulation {
 public:
  explicit Simulation(const SimulationOptions& chosen);

  /// Hands out frames, and before each one how the camera has panned since the one before, if it has.
  /// @return False at the end of the sequence.
  bool read(Record& record);

  /// The number of the frame handed out last, from 1; dropped ones count.
  int frameNumber() const { return frame; }
  /// What that frame shows in truth, detected or not.
  const std::vector<Figure>& truth() const { return figures; }

 private:
  bool advance();
  void seeFrame(Record& record);

  SimulationOptions options;
  Random random;
  Random drops;
  World world;
  std::vector<Figure> figures;
  int frame = 0;
  bool frameIsDue = false;  // its camera motion has been handed out already
  std::optional<std::int64_t> pan;
};

/// Writes a sequence into a folder: what the detector says, and in gt/gt.txt the truth.
/// @throws UsageError when the format cannot hold what the options ask for.
void simulate(const SimulationOptions& options, const Target& folder, const Format& format);

}  // namespace nivra::hostkit
