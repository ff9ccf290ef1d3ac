#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace nivra::tool {

/// Where results go. Nothing counts as written before `finish` has returned.
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  virtual ~Output() = default;

  /// @throws FileError when the text cannot be written, ReaderGone when nobody reads it any more.
  virtual void write(std::string_view text) = 0;
  virtual void finish() = 0;
};

/// A file, which `finish` puts in place of an older one in a single step; until then, and when anything fails, the
/// older one stays as it is. Devices, pipes and the like are written to directly.
/// @throws FileError when it cannot be opened.
std::unique_ptr<Output> openFile(const std::string& path);

std::unique_ptr<Output> openStream(std::ostream& stream);

}  // namespace nivra::tool
