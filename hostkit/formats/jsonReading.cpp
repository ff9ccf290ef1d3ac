#include "hostkit/formats/jsonReading.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"

namespace nivra::hostkit {

namespace {

/// What a value is, for complaints: numbers as they are, all else by its kind.
std::string describe(dom::element value) {
  switch (value.type()) {
    case dom::element_type::ARRAY:
      return "an array";
    case dom::element_type::OBJECT:
      return "an object";
    case dom::element_type::STRING:
      return "a string";
    case dom::element_type::BOOL:
      return "a truth value";
    case dom::element_type::NULL_VALUE:
      return "null";
    default:
      return simdjson::minify(value);
  }
}

bool isLetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

/// The first word outside of strings that JSON doesn't know; empty if there is none.
std::string_view strangeWord(std::string_view text) {
  const auto endOf = [&](std::size_t begin, auto belongs) {
    while (begin < text.size() && belongs(text[begin])) ++begin;
    return begin;
  };
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] == '"') {
      for (++i; i < text.size() && text[i] != '"'; ++i) i += text[i] == '\\' ? 1 : 0;
      ++i;
    } else if (text[i] >= '0' && text[i] <= '9') {
      i = endOf(i, [](char each) { return (each >= '0' && each <= '9') || each == '.' || each == 'e' || each == 'E'; });
    } else if (isLetter(text[i])) {
      const std::string_view word = text.substr(i, endOf(i, isLetter) - i);
      if (word != "true" && word != "false" && word != "null") return word;
      i += word.size();
    } else {
      ++i;
    }
  }
  return {};
}

template <class Value>
Value valueOf(dom::element element, std::string_view expected, const JsonPlace& place) {
  Value value;
  if (element.get(value) != simdjson::SUCCESS) refuse(place, expected, element);
  return value;
}

}  // namespace

std::string JsonPlace::text() const {
  const std::string start = outer == nullptr ? "" : outer->text();
  if (outer == nullptr) return start;
  if (field.empty()) return fmt::format("{}[{}]", start, index);
  return start.empty() ? std::string(field) : fmt::format("{}.{}", start, field);
}

void refuse(const JsonPlace& place, std::string message) { throw JsonFault{place.text(), std::move(message)}; }

void refuse(const JsonPlace& place, std::string_view expected, dom::element found) {
  refuse(place, fmt::format("{}, found {}", expected, describe(found)));
}

std::string explainBadJson(std::string_view text, simdjson::error_code fault) {
  constexpr std::array kFaultsOfValues = {simdjson::TAPE_ERROR, simdjson::T_ATOM_ERROR, simdjson::F_ATOM_ERROR,
                                          simdjson::N_ATOM_ERROR, simdjson::NUMBER_ERROR};
  const bool isOfValue = std::find(kFaultsOfValues.begin(), kFaultsOfValues.end(), fault) != kFaultsOfValues.end();
  const std::string_view word = isOfValue ? strangeWord(text) : std::string_view();
  if (!word.empty()) return fmt::format("no valid JSON: {} is neither a number nor any other value", quoted(word));
  return fmt::format("no valid JSON: {}", simdjson::error_message(fault));
}

void readJsonFile(const std::string& path, const char* format, const std::function<void(dom::element whole)>& read) {
  const simdjson::padded_string text(readFile(path));
  dom::parser parser;
  dom::element whole;
  const auto fault = parser.parse(text).get(whole);
  if (fault != simdjson::SUCCESS) {
    throw FileError(fmt::format("{}, read as {}: {}", shownName(path), format, explainBadJson(text, fault)));
  }
  try {
    read(whole);
  } catch (const JsonFault& found) {
    failAt(shownName(path), 0, found.field, found.message);
  }
}

bool beginsWith(char mark, std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && text[first] == mark;
}

std::vector<std::string_view> keysOfFirstObject(std::string_view text) {
  std::vector<std::string_view> keys;
  int depth = 0;  // within the object
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') {
      const auto start = ++i;
      while (i < text.size() && text[i] != '"') i += text[i] == '\\' ? 2 : 1;
      const auto next = text.find_first_not_of(" \t\r\n", i + 1);
      const bool isKey = depth == 1 && next != std::string_view::npos && text[next] == ':';
      if (isKey) keys.push_back(text.substr(start, i - start));
    } else if (text[i] == '{' || (text[i] == '[' && depth > 0)) {
      ++depth;
    } else if ((text[i] == '}' || text[i] == ']') && depth > 0 && --depth == 0) {
      break;
    }
  }
  return keys;
}

bool hasAnyOf(const std::vector<std::string_view>& keys, std::initializer_list<std::string_view> wanted) {
  return std::any_of(wanted.begin(), wanted.end(),
                     [&](std::string_view each) { return std::find(keys.begin(), keys.end(), each) != keys.end(); });
}

std::string_view stringOf(dom::element value, const JsonPlace& place) {
  return valueOf<std::string_view>(value, "expected a string", place);
}
dom::array arrayOf(dom::element value, const JsonPlace& place) {
  return valueOf<dom::array>(value, "expected an array", place);
}
dom::object objectOf(dom::element value, const JsonPlace& place) {
  return valueOf<dom::object>(value, "expected an object", place);
}
bool boolOf(dom::element value, const JsonPlace& place) {
  return valueOf<bool>(value, "expected true or false", place);
}

}  // namespace nivra::hostkit
