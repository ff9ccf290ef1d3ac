#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/files/textFile.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

/// One "key=value", without blanks around either.
struct KeyValue {
  std::string key;
  std::string value;
  int line = 0;  // of a file, from 1
};

/// @return Nothing unless there is an equals sign after a key.
std::optional<KeyValue> splitKeyValue(std::string_view text);

/// Whether a line is for human readers alone, as ini files have it.
bool isComment(std::string_view line);

/// The entries of a file, or of a part of it, in their order; each key comes once.
class KeyValues {
 public:
  /// @param file Its name in complaints.
  explicit KeyValues(std::filesystem::path file) : path(std::move(file)) {}

  /// @throws FileError unless the line is "key=value".
  KeyValue parse(int number, std::string_view line) const;

  /// @throws FileError for a key that is there already.
  void add(KeyValue entry);

  /// @throws FileError when the key is missing or its value is no number of the range.
  template <class Number>
  Number number(const std::string& key, Range<Number> range) const {
    const KeyValue* const found = find(key);
    if (found == nullptr) failAt(path, 0, key, "missing key");
    const auto parsed = parseNumber(found->value, range);
    if (!parsed) failAt(path, found->line, key, complaint(found->value, range));
    return *parsed;
  }

  const std::vector<KeyValue>& all() const { return entries; }

 private:
  /// Null if there is none.
  const KeyValue* find(std::string_view key) const;

  std::filesystem::path path;
  std::vector<KeyValue> entries;
};

/// The entries of one section of an INI file.
/// @throws FileError when the file cannot be read, or holds a line that is neither a section, nor a comment, nor
///   "key=value", or a key of the section twice.
KeyValues readIniSection(const std::filesystem::path& file, const std::string& section);

}  // namespace nivra::hostkit
