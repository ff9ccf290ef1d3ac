#include "hostkit/formats/frameFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <numeric>
#include <optional>
#include <set>
#include <system_error>

#include "hostkit/errors.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/categoryNames.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDigits = "0123456789";

/// The number at the beginning of a text, without zeros in front of it.
std::string_view digitsOf(std::string_view text) {
  const std::string_view digits = text.substr(0, text.find_first_not_of(kDigits));
  return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

/// Compares texts so that a9 comes before a10.
bool isNaturallyBefore(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    const bool areNumbers = kDigits.find(a.front()) != kDigits.npos && kDigits.find(b.front()) != kDigits.npos;
    if (areNumbers) {
      const std::string_view x = digitsOf(a);
      const std::string_view y = digitsOf(b);
      if (x != y) return x.size() != y.size() ? x.size() < y.size() : x < y;
      a.remove_prefix(std::min(a.find_first_not_of(kDigits), a.size()));
      b.remove_prefix(std::min(b.find_first_not_of(kDigits), b.size()));
    } else {
      if (a.front() != b.front()) return a.front() < b.front();
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  return a.size() < b.size();
}

std::optional<int> lastNumberIn(std::string_view name) {
  const auto last = name.find_last_of(kDigits);
  if (last == std::string_view::npos) return std::nullopt;
  const auto before = name.find_last_not_of(kDigits, last);
  const auto first = before == std::string_view::npos ? 0 : before + 1;
  return parseNumber(name.substr(first, last - first + 1), Range<int>{0, kMostFrames - 1});
}

/// Nothing unless each name has a number of its own.
std::optional<std::vector<int>> numbersIn(const std::vector<std::string>& names) {
  std::vector<int> numbers;
  for (const std::string& name : names) {
    const auto number = lastNumberIn(name);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
  }
  const std::set<int> distinct(numbers.begin(), numbers.end());
  if (distinct.size() != numbers.size()) return std::nullopt;
  if (distinct.count(0) > 0) std::for_each(numbers.begin(), numbers.end(), [](int& each) { ++each; });
  return numbers;
}

bool hasExtension(fs::path file, std::string_view extension) {
  if (file.extension() == ".gz") file = file.stem();
  return file.extension().string() == extension;
}

std::vector<FrameFile> filesIn(const fs::path& folder, std::string_view extension) {
  std::vector<FrameFile> files;
  std::vector<std::string> names;
  std::error_code fault;
  for (fs::directory_iterator entry(folder, fault); !fault && entry != fs::directory_iterator();
       entry.increment(fault)) {
    const fs::path path = entry->path();
    const bool isHidden = path.filename().string().front() == '.';
    if (isHidden || !hasExtension(path, extension) || isCategoryFile(path)) continue;
    files.push_back({path});
    names.push_back(nameOf(path));
  }
  if (fault) throw FileError(fmt::format("cannot read {}: {}", folder.string(), fault.message()));
  const std::vector<int> numbers = frameNumbersOf(names);
  for (std::size_t i = 0; i < files.size(); ++i) files[i].frame = numbers[i];
  std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.frame < b.frame; });
  return files;
}

}  // namespace

std::vector<int> frameNumbersOf(const std::vector<std::string>& names) {
  if (auto numbers = numbersIn(names)) return *std::move(numbers);
  std::vector<std::size_t> order(names.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    if (isNaturallyBefore(names[a], names[b])) return true;
    return !isNaturallyBefore(names[b], names[a]) && names[a] < names[b];  // a01 and a1
  });
  std::vector<int> numbers(names.size());
  for (std::size_t i = 0; i < order.size(); ++i) numbers[order[i]] = static_cast<int>(i) + 1;
  return numbers;
}

std::vector<FrameFile> frameFilesOf(const fs::path& input, std::string_view extension) {
  std::error_code ignored;
  if (!fs::is_directory(input, ignored)) return {{input, 1}};
  auto files = filesIn(input, extension);
  if (files.empty() && fs::is_directory(input / "labels", ignored)) files = filesIn(input / "labels", extension);
  if (files.empty()) throw FileError(fmt::format("no files of frames *{} in {}", extension, input.string()));
  return files;
}

std::string beginningOfFrames(const fs::path& folder, std::string_view extension, std::size_t most) {
  try {
    for (const FrameFile& each : frameFilesOf(folder, extension)) {
      std::string beginning = readFile(each.path, most);
      if (beginning.find_first_not_of(" \t\r\n[]") != std::string::npos) return beginning;
    }
  } catch (const FileError&) {  // then it is no such folder
  }
  return "";
}

}  // namespace nivra::hostkit
