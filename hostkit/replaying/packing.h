#pragma once

#include <string>

#include "hostkit/replaying/footage.h"
#include "hostkit/replaying/recording.h"

namespace nivra::hostkit {

/// A recording as the page unpacks it: the length of a head, 4 bytes with the lowest first; the head, an object of JSON
/// with all names; and numbers, each in groups of 7 bits with the lowest first, its sign in the lowest bit, every
/// column as differences. All of it is deflated (RFC 1950).
///
/// Boxes are in steps of 1/8192 of the picture's longer side, scores in percent, times in milliseconds.
std::string pack(const Recording& recording, const Footage& footage);

}  // namespace nivra::hostkit
