#pragma once

#include "hostkit/formats/format.h"

namespace nivra::hostkit {

/// Lines of JSON, one a frame, a movement or an end of a camera; docs/streams.md tells what they hold.
extern const Format kJsonLines;

// Its writing half, in jsonLinesWriting.cpp.
std::unique_ptr<TrackWriter> writeJsonTracks(const WriteSettings& settings);
std::unique_ptr<DetectionWriter> writeJsonDetections(const Target& target, const WriteSettings& settings);

/// Tracks as they are written, or detections with the identities of objects as their ids, camera by camera; in
/// jsonLinesIdentities.cpp.
std::vector<IdentifiedSequence> readJsonIdentities(const std::string& path, const ReadSettings& settings);

}  // namespace nivra::hostkit
