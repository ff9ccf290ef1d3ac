#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/formats/format.h"

namespace nivra::hostkit {

/// A file that holds the detections of one frame.
struct FrameFile {
  std::filesystem::path path;
  int frame = 0;  // from 1
};

/// The frame of each name: the last number in it, where each has one of its own (one more if they count from 0), and
/// its position in natural order otherwise.
std::vector<int> frameNumbersOf(const std::vector<std::string>& names);

/// The frames of a folder or of its folder `labels`; or the file itself, as the only one. Lists of class names are
/// none.
/// @param extension Of the files, such as ".txt"; they may be packed.
/// @throws FileError when the folder cannot be read or holds none.
std::vector<FrameFile> frameFilesOf(const std::filesystem::path& input, std::string_view extension);

/// The beginning of the first file of a folder that isn't empty, nor an array that is; empty if there is none.
std::string beginningOfFrames(const std::filesystem::path& folder, std::string_view extension, std::size_t most);

}  // namespace nivra::hostkit
