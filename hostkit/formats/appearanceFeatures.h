#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "hostkit/formats/sequence.h"

namespace nivra::hostkit {

/// Gives every detection its appearance feature from a binary file: the numbers of rows and columns as int32, then
/// the rows as float32, little-endian; one row for every detection, in the order of the detection file's lines.
/// @throws FileError when the file cannot be read or doesn't fit the detections.
void readFeatures(const std::filesystem::path& path, std::vector<FrameDetection>& detections);

/// The content of such a file; all features are of one length.
std::string encodeFeatures(const std::vector<std::vector<float>>& features);

}  // namespace nivra::hostkit
