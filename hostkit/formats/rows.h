#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "hostkit/files/textFile.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

/// The columns of one line, read from left to right.
class Columns {
 public:
  /// Separator of columns with any number of blanks between them.
  static constexpr char kBlanks = ' ';

  Columns(const std::filesystem::path& file, int lineNumber, std::string_view line, char separatorOfColumns)
      : path(file), number(lineNumber), rest(line), separator(separatorOfColumns) {}

  /// Whether no column is left.
  bool done() const { return atEnd; }

  /// The next column as it is.
  /// @param name Empty for a column that has none.
  std::string_view nextText(std::string_view name);

  /// The next column, which may be quoted if the separator is no blank; two quotes stand for one inside.
  std::string nextQuoted();

  template <class Number>
  Number next(std::string_view name, Range<Number> range) {
    const std::string_view text = nextText(name);
    const auto value = parseNumber(text, range);
    if (!value) blame(name, complaint(text, range));
    return *value;
  }

  /// A whole number, which may have been written with a point or an exponent, such as 1.000e+00.
  std::int64_t nextWhole(std::string_view name, Range<std::int64_t> range);

  /// Passes over numbers that may follow the last column of interest.
  /// @param most How many columns there may be.
  void finish(std::size_t most);

 private:
  [[noreturn]] void blame(std::string_view name, const std::string& what) const;

  const std::filesystem::path& path;
  int number;
  std::string_view rest;
  char separator;
  bool atEnd = false;
  std::size_t count = 0;
};

}  // namespace nivra::hostkit
