#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace nivra::hostkit {

/// What is behind the boxes of a camera.
struct CameraFootage {
  std::vector<std::filesystem::path> pictures;  // one for each frame
  std::filesystem::path video;                  // or this, if not empty

  bool empty() const { return pictures.empty() && video.empty(); }
};

/// The footage of cameras by their names, and how a page gets at it.
struct Footage {
  std::map<std::string, CameraFootage> cameras;
  bool isEmbedded = false;           // copied into the page; else the page refers to the files
  std::filesystem::path pageFolder;  // from which it does, absolute

  /// The address of a file as the page has it: relative to it, escaped.
  std::string addressOf(const std::filesystem::path& file) const;
};

/// @throws FileError unless there is such a file, which is returned.
std::filesystem::path videoAt(const std::string& file);

/// The pictures in a folder by the last numbers in their names; files that are none are passed over.
/// @throws FileError when the folder cannot be read or has none.
std::vector<std::filesystem::path> picturesIn(const std::string& folder);

}  // namespace nivra::hostkit
