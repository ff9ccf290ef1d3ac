#include "textFile.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "errors.h"
#include "numbers.h"

namespace nivra::tool {

namespace {

[[noreturn]] void failReading(const std::filesystem::path& path) {
  throw FileError(fmt::format("cannot read {}: {}", path.string(), std::generic_category().message(errno)));
}

}  // namespace

std::string readFile(const std::filesystem::path& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!file) failReading(path);
  std::string content;
  std::array<char, 1 << 16> piece;
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), file.get())) {
    content.append(piece.data(), size);
  }
  if (std::ferror(file.get()) != 0) failReading(path);
  return content;
}

void forEachLine(std::string_view text, const std::function<void(int number, std::string_view line)>& take) {
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (!trimmed(line).empty()) take(number, trimmed(line));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
}

void failAt(const std::filesystem::path& path, int line, std::string_view field, std::string_view what) {
  const std::string place = line > 0 ? fmt::format("{}:{}", path.string(), line) : path.string();
  throw FileError(fmt::format("{} ({}, {})", what, place, field));
}

}  // namespace nivra::tool
