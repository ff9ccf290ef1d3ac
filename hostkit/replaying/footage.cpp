#include "hostkit/replaying/footage.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <tuple>

#include "hostkit/errors.h"

namespace nivra::hostkit {

namespace fs = std::filesystem;

namespace {

bool isPicture(const fs::path& file) {
  std::string ending = file.extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
  constexpr std::array<std::string_view, 6> kKnown = {".jpg", ".jpeg", ".png", ".webp", ".avif", ".bmp"};
  return std::find(kKnown.begin(), kKnown.end(), ending) != kKnown.end();
}

/// Orders names so that 10 comes behind 9: by the last number, without its zeros in front.
std::tuple<std::size_t, std::string, std::string> orderOf(const fs::path& file) {
  const std::string name = file.stem().string();
  const auto end = name.find_last_of("0123456789");
  if (end == std::string::npos) return {0, "", name};
  const auto before = name.find_last_not_of("0123456789", end);
  std::string number = name.substr(before == std::string::npos ? 0 : before + 1, end - before);
  number.erase(0, std::min(number.find_first_not_of('0'), number.size()));
  return {number.size(), number, name};
}

}  // namespace

std::string Footage::addressOf(const fs::path& file) const {
  const fs::path whole = fs::absolute(file).lexically_normal();
  const fs::path relative = whole.lexically_proximate(pageFolder.lexically_normal());
  std::string address = "./";
  for (const char each : relative.generic_string()) {
    const auto byte = static_cast<unsigned char>(each);
    const bool isPlain = std::isalnum(byte) != 0 || std::string_view("-._~/").find(each) != std::string_view::npos;
    address += isPlain ? std::string(1, each) : fmt::format("%{:02X}", byte);
  }
  return address;
}

fs::path videoAt(const std::string& file) {
  std::error_code ignored;
  if (!fs::is_regular_file(file, ignored)) throw FileError(fmt::format("no such file: {}", file));
  return file;
}

std::vector<fs::path> picturesIn(const std::string& folder) {
  std::vector<fs::path> pictures;
  std::error_code fault;
  for (fs::directory_iterator entry(folder, fault), end; !fault && entry != end; entry.increment(fault)) {
    if (isPicture(entry->path())) pictures.push_back(entry->path());
  }
  if (fault) throw FileError(fmt::format("{}: {}", folder, fault.message()));
  if (pictures.empty()) throw FileError(fmt::format("no pictures in {}", folder));
  std::sort(pictures.begin(), pictures.end(),
            [](const fs::path& a, const fs::path& b) { return orderOf(a) < orderOf(b); });
  return pictures;
}

}  // namespace nivra::hostkit
