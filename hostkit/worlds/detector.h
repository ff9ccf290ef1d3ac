#pragma once

#include <vector>

#include "hostkit/worlds/random.h"
#include "hostkit/worlds/world.h"
#include "nivra/nivra.h"

namespace nivra::hostkit {

/// What a detector might make of a frame: it misses who is hidden, is inexact, and sometimes sees what isn't there.
/// Boxes are whole hundredths of a pixel and scores whole percent, so that text files hold them entirely.
std::vector<ObjectDetection> detect(const std::vector<Figure>& figures, Random& random,
                                    const SimulationOptions& options);

}  // namespace nivra::hostkit
