#pragma once

#include <fmt/format.h>

#include <string_view>

#include "hostkit/text/textBuffer.h"

namespace nivra::hostkit {

/// Appends a JSON string. Bytes that are no valid UTF-8 are taken for Latin-1, so that every text can be written.
void appendQuoted(TextBuffer& json, std::string_view text);

/// Appends the shortest number that reads back as the same float; null for what is no finite number.
void appendNumber(TextBuffer& json, float number);

/// Likewise in double precision.
void appendDouble(TextBuffer& json, double number);

/// Appends a number of pixels, rounded to thousandths.
void appendPixels(TextBuffer& json, double pixels);

/// Appends a whole number.
inline constexpr auto appendWhole = [](TextBuffer& json, auto number) {
  const fmt::format_int digits(number);
  json += std::string_view(digits.data(), digits.size());
};

/// Appends the elements in brackets, each by `append(json, element)`.
template <class Elements, class Append>
void appendArray(TextBuffer& json, const Elements& elements, Append append) {
  json += '[';
  bool isFirst = true;
  for (const auto& element : elements) {
    if (!isFirst) json += ',';
    isFirst = false;
    append(json, element);
  }
  json += ']';
}

/// Appends a field of an object by `append(json, value)`; `start` is what stands before the value, such as ,"id":
template <class Value, class Append>
void appendField(TextBuffer& json, std::string_view start, const Value& value, Append append) {
  json += start;
  append(json, value);
}

/// Likewise a field whose value is an array.
template <class Elements, class Append>
void appendArrayField(TextBuffer& json, std::string_view start, const Elements& elements, Append append) {
  json += start;
  appendArray(json, elements, append);
}

}  // namespace nivra::hostkit
