#include "hostkit/files/textFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

std::string readFile(const std::filesystem::path& path, std::size_t most) {
  ByteSource source(path.string());
  std::string content;
  std::array<char, 1 << 16> piece;
  while (const std::size_t size = source.read(piece.data(), std::min(piece.size(), most - content.size()))) {
    content.append(piece.data(), size);
  }
  return content;
}

std::string nameOf(const std::filesystem::path& path) {
  if (path == kStandardInput) return "stdin";
  const std::filesystem::path whole = std::filesystem::absolute(path).lexically_normal();
  std::filesystem::path name = (whole.has_filename() ? whole : whole.parent_path()).filename();
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return name.string();
  if (name.extension() == ".gz") name = name.stem();
  return name.stem().string();
}

void forEachLine(std::string_view text, const std::function<void(int number, std::string_view line)>& take) {
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (!trimmed(line).empty()) take(number, trimmed(line));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
}

std::string_view firstLineOf(std::string_view text) {
  const auto start = text.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) return {};
  return trimmed(text.substr(start, text.find('\n', start) - start));
}

void failAt(const std::filesystem::path& path, int line, std::string_view field, std::string_view what) {
  const std::string place = line > 0 ? fmt::format("{}:{}", path.string(), line) : path.string();
  throw FileError(fmt::format("{} ({}{}{})", what, place, field.empty() ? "" : ", ", field));
}

}  // namespace nivra::hostkit
