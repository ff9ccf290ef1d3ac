#include "iniSection.h"

#include <string_view>

#include "textFile.h"

namespace nivra::tool {

IniSection::IniSection(const std::filesystem::path& iniFile, const std::string& section) : entries(iniFile) {
  const std::string header = "[" + section + "]";
  bool inSection = false;
  forEachLine(readFile(iniFile), [&](int number, std::string_view line) {
    if (isComment(line)) return;
    if (line.front() == '[') {
      inSection = line == header;
      return;
    }
    KeyValue entry = entries.parse(number, line);
    if (inSection) entries.add(std::move(entry));
  });
}

template <class Number>
Number IniSection::number(const std::string& key, Range<Number> range) const {
  const KeyValue* const found = entries.find(key);
  if (found == nullptr) failAt(entries.file(), 0, key, "missing key");
  const auto parsed = parseNumber(found->value, range);
  if (!parsed) failAt(entries.file(), found->line, key, complaint(found->value, range));
  return *parsed;
}

template int IniSection::number(const std::string&, Range<int>) const;
template double IniSection::number(const std::string&, Range<double>) const;

}  // namespace nivra::tool
