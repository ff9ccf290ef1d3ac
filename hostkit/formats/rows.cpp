#include "hostkit/formats/rows.h"

#include <fmt/format.h>

#include <algorithm>

namespace nivra::hostkit {

std::string_view Columns::nextText(std::string_view name) {
  ++count;
  if (atEnd) blame(name, "missing column");
  const bool byBlanks = separator == kBlanks;
  const auto end = std::min(byBlanks ? rest.find_first_of(" \t") : rest.find(separator), rest.size());
  const std::string_view text = rest.substr(0, end);
  rest.remove_prefix(end);
  atEnd = rest.empty();
  if (!atEnd) rest.remove_prefix(byBlanks ? std::min(rest.find_first_not_of(" \t"), rest.size()) : 1);
  return text;
}

std::string Columns::nextQuoted() {
  const auto start = rest.find_first_not_of(' ');
  if (atEnd || start == std::string_view::npos || rest[start] != '"') return std::string(trimmed(nextText({})));
  std::string text;
  for (std::size_t i = start + 1; i < rest.size(); ++i) {
    if (rest[i] != '"') {
      text += rest[i];
    } else if (i + 1 < rest.size() && rest[i + 1] == '"') {
      text += rest[++i];
    } else {
      rest.remove_prefix(i + 1);
      if (!trimmed(nextText({})).empty()) blame({}, "something follows the closing quote");
      return text;
    }
  }
  ++count;
  blame({}, "no closing quote in the line");
}

std::int64_t Columns::nextWhole(std::string_view name, Range<std::int64_t> range) {
  const std::string_view text = nextText(name);
  const auto value = parseWhole(text, range);
  if (!value) blame(name, complaint(text, range));
  return *value;
}

void Columns::finish(std::size_t most) {
  while (!atEnd) {
    if (count == most) {
      ++count;
      blame({}, fmt::format("more than {} columns", most));
    }
    next({}, kCoordinates);
  }
}

void Columns::blame(std::string_view name, const std::string& what) const {
  failAt(path, number, name.empty() ? fmt::format("column {}", count) : std::string(name), what);
}

}  // namespace nivra::hostkit
