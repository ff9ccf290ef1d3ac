#include "hostkit/tracking/settings.h"

#include <fmt/format.h>

#include <string_view>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/keyValues.h"

namespace nivra::hostkit {

namespace {

/// A number sign inside of a word may belong to a label.
std::string_view withoutTrailingComment(std::string_view line) {
  for (auto sign = line.find('#'); sign != std::string_view::npos; sign = line.find('#', sign + 1)) {
    if (sign > 0 && (line[sign - 1] == ' ' || line[sign - 1] == '\t')) return line.substr(0, sign);
  }
  return line;
}

KeyValues readSettings(const std::string& file) {
  KeyValues entries(shownName(file));
  forEachLine(readFile(file), [&](int number, std::string_view line) {
    if (!isComment(line)) entries.add(entries.parse(number, withoutTrailingComment(line)));
  });
  return entries;
}

}  // namespace

void failAt(const Setting& setting, const std::string& what) {
  if (!setting.file.empty()) failAt(setting.file, setting.line, setting.key, what);
  throw UsageError(fmt::format("--param {}={}: {}", setting.key, setting.value, what));
}

std::vector<Setting> collectSettings(const std::vector<std::string>& files, const std::vector<std::string>& arguments) {
  std::vector<Setting> settings;
  for (const std::string& file : files) {
    const KeyValues entries = readSettings(file);
    for (const auto& [key, value, line] : entries.all()) settings.push_back({key, value, shownName(file), line});
  }
  for (const std::string& argument : arguments) {
    const auto entry = splitKeyValue(argument);
    if (!entry) throw UsageError(fmt::format("--param {}: expected section.name=value", argument));
    settings.push_back({entry->key, entry->value});
  }
  return settings;
}

}  // namespace nivra::hostkit
