#pragma once

#include <cstdint>
#include <string>

#include "picture.h"

namespace nivra::tool {

struct SimulationOptions {
  std::string camera = "plaza";
  std::uint64_t seed = 1;
  int frames = 300;
  int people = 10;
  int vehicles = 0;
  double pan = 0.0;        // how fast the camera pans to and fro at most, picture widths per second
  double drop = 0.0;       // share of the frames that the camera drops
  double reentries = 0.0;  // share of the people who leave that come back in
  int featureLength = 16;  // 0 for detections without appearance features
  PictureSize picture = {1280, 720};
  double frameRate = 25.0;
};

}  // namespace nivra::tool
