#pragma once

#include "hostkit/formats/sequence.h"

namespace nivra::hostkit {

/// A folder with a text file for each frame, of lines "class x y width height" with a confidence, a track id or both
/// behind them: the box by its centre, in fractions of the picture. Names of the classes are in a list beside them.
extern const Format kYolo;

}  // namespace nivra::hostkit
