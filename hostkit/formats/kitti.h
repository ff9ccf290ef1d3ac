#pragma once

#include "hostkit/formats/sequence.h"

namespace nivra::hostkit {

/// Lines "type truncated occluded alpha left top right bottom", seven numbers of the object in space, and a score if it
/// is known: in a text file for each frame, or in one for all with the frame, from 0, and an identity in front.
extern const Format kKitti;

}  // namespace nivra::hostkit
