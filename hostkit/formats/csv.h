#pragma once

#include "hostkit/formats/sequence.h"

namespace nivra::hostkit {

/// A table with a line of column names, separated by commas, semicolons or tabs: the frame or the time, a box in pixels
/// by its edges, its corner and size, or its centre and size, and a score and a label if they are known.
/// With a camera's name in each row it holds several. Tracks are written so, with identities.
extern const Format kCsv;

// Its writing half, in csvWriting.cpp.
std::unique_ptr<TrackWriter> writeCsvTracks(const WriteSettings& settings);

}  // namespace nivra::hostkit
