#pragma once

#include "hostkit/formats/format.h"

namespace nivra::hostkit {

/// JSON arrays of {"name", "class", "confidence", "box": {"x1", "y1", "x2", "y2"}}: one array a frame, in a file for
/// each, or in an array of them. Boxes are in pixels with y downward, or in fractions of the picture.
extern const Format kFrameResults;

}  // namespace nivra::hostkit
