#pragma once

#include "sequence.h"

namespace nivra::tool {

/// The text files of the MOTChallenge.
///
/// Reads a sequence folder, or a detection file by itself: "frame,id,left,top,width,height,conf" with up to three
/// more numbers a line. Writes "frame,id,left,top,width,height,conf,-1,-1,-1".
extern const Format kMotChallenge;

}  // namespace nivra::tool
