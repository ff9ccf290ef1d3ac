#pragma once

#include <filesystem>
#include <string>

#include "keyValues.h"
#include "numbers.h"

namespace nivra::tool {

/// One section of an INI file, with the line of every entry for precise complaints.
class IniSection {
 public:
  /// @throws FileError when the file cannot be read, or holds a line that is neither a section, nor a comment,
  ///   nor "key=value", or a key of the section twice.
  IniSection(const std::filesystem::path& iniFile, const std::string& section);

  /// @throws FileError when the key is missing or its value is no number of the range.
  template <class Number>
  Number number(const std::string& key, Range<Number> range) const;

 private:
  KeyValues entries;
};

}  // namespace nivra::tool
