#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "support.h"

namespace nivra::fuzz {

/// A folder of this process, gone when it ends.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "nivraFuzzXXXXXX").string();
    require(mkdtemp(pattern.data()) != nullptr, "a temporary folder can be made");
    path = pattern;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::filesystem::path operator/(std::string_view name) const { return path / name; }

 private:
  std::filesystem::path path;
};

/// What comes before the next form feed, which is taken off the text.
inline std::string_view takePart(std::string_view& text) {
  const auto end = std::min(text.find('\f'), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

inline void write(const std::filesystem::path& path, std::string_view text) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
  require(file && std::fwrite(text.data(), 1, text.size(), file.get()) == text.size(), "a file can be written");
}

}  // namespace nivra::fuzz
