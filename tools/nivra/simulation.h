#pragma once

#include <cstdint>
#include <string>

#include "picture.h"

namespace nivra::tool {

struct SimulationOptions {
  std::string folder;
  std::uint64_t seed = 1;
  int frames = 300;
  int people = 10;
  PictureSize picture = {1280, 720};
  double frameRate = 25.0;
};

/// Writes a MOTChallenge sequence of people who cross a plaza, some of them behind a kiosk: the true boxes, and what a
/// detector might make of them, appearance features included. The same options give the same bytes on every machine.
void simulate(const SimulationOptions& options);

}  // namespace nivra::tool
