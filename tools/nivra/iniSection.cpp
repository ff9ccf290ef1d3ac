#include "iniSection.h"

#include <fmt/format.h>

#include <string_view>

#include "textFile.h"

namespace nivra::tool {

IniSection::IniSection(const std::filesystem::path& iniFile, const std::string& section) : path(iniFile) {
  const std::string header = "[" + section + "]";
  bool inSection = false;
  forEachLine(readFile(path), [&](int number, std::string_view line) {
    if (line.front() == ';' || line.front() == '#') return;
    if (line.front() == '[') {
      inSection = line == header;
      return;
    }
    const auto equals = line.find('=');
    const std::string key(trimmed(line.substr(0, equals)));
    if (equals == std::string_view::npos) failAt(path, number, quoted(line), "expected key=value");
    if (!inSection) return;
    const auto [entry, isNew] = entries.emplace(key, Entry{std::string(trimmed(line.substr(equals + 1))), number});
    if (!isNew) failAt(path, number, key, fmt::format("key given before, in line {}", entry->second.line));
  });
}

template <class Number>
Number IniSection::number(const std::string& key, Range<Number> range) const {
  const auto found = entries.find(key);
  if (found == entries.end()) failAt(path, 0, key, "missing key");
  const auto& [value, line] = found->second;
  const auto parsed = parseNumber(value, range);
  if (!parsed) failAt(path, line, key, complaint(value, range));
  return *parsed;
}

template int IniSection::number(const std::string&, Range<int>) const;
template double IniSection::number(const std::string&, Range<double>) const;

}  // namespace nivra::tool
