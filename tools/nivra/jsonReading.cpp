#include "jsonReading.h"

#include <fmt/format.h>

#include <utility>

namespace nivra::tool {

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

bool beginsWith(char mark, std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && text[first] == mark;
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

}  // namespace nivra::tool
