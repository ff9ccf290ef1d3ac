#pragma once

#include <filesystem>
#include <optional>

#include "hostkit/formats/sequence.h"

namespace nivra::hostkit {

/// The text files of the MOTChallenge.
///
/// Reads a sequence folder, or a detection file by itself: "frame,id,left,top,width,height,conf" with up to three
/// more numbers a line. Writes tracks as "frame,id,left,top,width,height,conf,-1,-1,-1", detections as a folder.
extern const Format kMotChallenge;

/// Whether a folder has the detections of a sequence.
bool isSequenceFolder(const std::string& path);

/// The truth in the folder of a sequence; nothing if there is none.
std::optional<std::filesystem::path> truthFileOf(const std::filesystem::path& folder);

/// @throws FileError or UsageError when `input` cannot be used.
Sequence readMotChallenge(const std::string& input, const ReadSettings& settings);

}  // namespace nivra::hostkit
