#pragma once

#include "hostkit/files/output.h"
#include "hostkit/replaying/footage.h"
#include "hostkit/replaying/recording.h"

namespace nivra::hostkit {

/// Writes a page that shows a recording: one file, which needs no network, and may do nothing but show itself.
/// @throws FileError when footage that is to be embedded cannot be read, or the page not be written.
void writePage(const Recording& recording, const Footage& footage, Output& output);

}  // namespace nivra::hostkit
