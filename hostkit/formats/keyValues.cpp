#include "hostkit/formats/keyValues.h"

#include <fmt/format.h>

#include <algorithm>

namespace nivra::hostkit {

std::optional<KeyValue> splitKeyValue(std::string_view text) {
  const auto equals = text.find('=');
  const std::string_view key = trimmed(text.substr(0, equals));
  if (equals == std::string_view::npos || key.empty()) return std::nullopt;
  return KeyValue{std::string(key), std::string(trimmed(text.substr(equals + 1)))};
}

bool isComment(std::string_view line) { return line.front() == '#' || line.front() == ';'; }

KeyValue KeyValues::parse(int number, std::string_view line) const {
  auto entry = splitKeyValue(line);
  if (!entry) failAt(path, number, quoted(line), "expected key=value");
  entry->line = number;
  return *std::move(entry);
}

void KeyValues::add(KeyValue entry) {
  const KeyValue* const before = find(entry.key);
  if (before != nullptr) {
    failAt(path, entry.line, entry.key, fmt::format("key given before, in line {}", before->line));
  }
  entries.push_back(std::move(entry));
}

const KeyValue* KeyValues::find(std::string_view key) const {
  const auto found =
      std::find_if(entries.begin(), entries.end(), [&](const KeyValue& each) { return each.key == key; });
  return found == entries.end() ? nullptr : &*found;
}

KeyValues readIniSection(const std::filesystem::path& file, const std::string& section) {
  KeyValues entries(file);
  bool inSection = false;
  forEachLine(readFile(file), [&](int number, std::string_view line) {
    if (isComment(line)) return;
    if (line.front() == '[') {
      inSection = line == "[" + section + "]";
      return;
    }
    KeyValue entry = entries.parse(number, line);
    if (inSection) entries.add(std::move(entry));
  });
  return entries;
}

}  // namespace nivra::hostkit
