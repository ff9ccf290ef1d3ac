#include "hostkit/formats/categoryNames.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>
#include <system_error>

#include "hostkit/files/textFile.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 4> kLists = {"classes.txt", "names.txt", "obj.names", "classes.names"};
constexpr std::array<const char*, 4> kYamlFiles = {"data.yaml", "data.yml", "dataset.yaml", "dataset.yml"};
constexpr Range<std::int64_t> kNumbers = {0, std::numeric_limits<int>::max()};

std::string unquoted(std::string_view text) {
  text = trimmed(text);
  const bool isQuoted =
      text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front();
  return std::string(isQuoted ? text.substr(1, text.size() - 2) : text);
}

/// Without a comment, which begins behind a blank.
std::string_view withoutComment(std::string_view line) {
  const auto mark = line.front() == '#' ? 0 : line.find(" #");
  return trimmed(line.substr(0, mark));
}

/// Takes the entries of `names:` one after the other.
class YamlNames {
 public:
  explicit YamlNames(const fs::path& yamlFile) : file(yamlFile) {}

  void takeEntry(int line, std::string_view entry) {
    entry = trimmed(entry);
    if (entry.empty()) return;
    if (entry.front() == '-') return add(static_cast<std::int64_t>(names.size()), entry.substr(1));
    const auto colon = entry.find(':');
    if (colon == std::string_view::npos) failAt(file, line, "names", "expected a list or a map from numbers");
    const auto number = parseNumber(entry.substr(0, colon), kNumbers);
    if (!number) failAt(file, line, "names", complaint(entry.substr(0, colon), kNumbers));
    add(*number, entry.substr(colon + 1));
  }

  /// Entries between brackets or braces.
  void takeInline(int line, std::string_view text) {
    const bool isList = text.front() == '[';
    text = text.substr(1, text.find_last_of("]}") - 1);
    while (!text.empty()) {
      const std::string_view entry = text.substr(0, text.find(','));
      if (isList && !trimmed(entry).empty()) add(static_cast<std::int64_t>(names.size()), entry);
      if (!isList) takeEntry(line, entry);
      text.remove_prefix(std::min(entry.size() + 1, text.size()));
    }
  }

  CategoryNames names;

 private:
  void add(std::int64_t number, std::string_view name) { names[number] = unquoted(name); }

  const fs::path& file;
};

CategoryNames readYaml(const fs::path& file) {
  constexpr std::string_view kKey = "names:";
  YamlNames entries(file);
  bool inside = false;
  int start = 0;
  std::string flow;  // of brackets, until they close
  forEachLine(readFile(file), [&](int number, std::string_view line) {
    line = withoutComment(line);
    const bool isKey = line.substr(0, kKey.size()) == kKey;
    if (isKey) {
      inside = true;
      start = number;
      line = trimmed(line.substr(kKey.size()));
    }
    if (!inside || line.empty()) return;
    if (!flow.empty() || (isKey && (line.front() == '[' || line.front() == '{'))) {
      flow += line;
      if (line.find_last_of("]}") == std::string_view::npos) return;
      entries.takeInline(start, flow);
      inside = false;
      flow.clear();
      return;
    }
    // The next key of the file ends a block.
    const bool isEntry = line.front() == '-' || (line.front() >= '0' && line.front() <= '9');
    inside = isEntry;
    if (isEntry) entries.takeEntry(number, line);
  });
  return entries.names;
}

CategoryNames readList(const fs::path& file) {
  CategoryNames names;
  forEachLine(readFile(file), [&](int, std::string_view line) {
    names.emplace(static_cast<std::int64_t>(names.size()), std::string(line));
  });
  return names;
}

}  // namespace

CategoryNames readCategoryNames(const fs::path& file) {
  const bool isYaml = file.extension() == ".yaml" || file.extension() == ".yml";
  CategoryNames names = isYaml ? readYaml(file) : readList(file);
  if (names.empty()) failAt(file, 0, isYaml ? "names" : "", "no names of categories");
  return names;
}

bool isCategoryFile(const fs::path& file) {
  return std::find(kLists.begin(), kLists.end(), file.filename().string()) != kLists.end();
}

CategoryNames categoryNamesAround(const fs::path& folder) {
  const fs::path whole = fs::absolute(folder).lexically_normal();
  const fs::path around = (whole.has_filename() ? whole : whole.parent_path()).parent_path();
  std::error_code ignored;
  for (const fs::path& place : {whole, around}) {
    for (const auto& names : {kLists, kYamlFiles}) {
      for (const char* const name : names) {
        if (fs::is_regular_file(place / name, ignored)) return readCategoryNames(place / name);
      }
    }
  }
  return {};
}

std::string labelOf(std::int64_t category, const ReadSettings& settings, const CategoryNames& names) {
  for (const CategoryNames* const each : {&settings.categories, &names}) {
    const auto found = each->find(category);
    if (found != each->end()) return found->second;
  }
  return std::to_string(category);
}

}  // namespace nivra::hostkit
