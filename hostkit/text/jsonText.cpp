#include "hostkit/text/jsonText.h"

#include <fmt/compile.h>
#include <fmt/format.h>
#include <simdjson.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

namespace nivra::hostkit {

namespace {

bool isPlain(char character) {
  return static_cast<unsigned char>(character) >= 0x20 && static_cast<unsigned char>(character) < 0x7F &&
         character != '"' && character != '\\';
}

template <class Number>
void appendShortest(std::string& json, Number number) {
  if (number == 0 && std::signbit(number)) {
    json += "-0.0";  // "-0" would be read as a whole number, which loses the sign
  } else if (std::isfinite(number)) {
    std::array<char, 32> digits;  // appending character by character would take longer
    const char* const end = fmt::format_to(digits.data(), FMT_COMPILE("{}"), number);
    json.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
  } else {
    json += "null";
  }
}

}  // namespace

void appendQuoted(std::string& json, std::string_view text) {
  json += '"';
  if (std::all_of(text.begin(), text.end(), isPlain)) {
    json += text;
  } else {
    const bool isUtf8 = simdjson::validate_utf8(text.data(), text.size());
    for (const char character : text) {
      const auto code = static_cast<unsigned char>(character);
      if (isPlain(character) || (code > 0x7F && isUtf8)) {
        json += character;
      } else {
        fmt::format_to(std::back_inserter(json), "\\u{:04x}", code);
      }
    }
  }
  json += '"';
}

void appendNumber(std::string& json, float number) { appendShortest(json, number); }

void appendDouble(std::string& json, double number) { appendShortest(json, number); }

void appendPixels(std::string& json, double pixels) {
  constexpr double kExact = 1e12;  // thousandths beyond it leave the whole numbers of a double
  if (!(std::abs(pixels) < kExact)) return appendNumber(json, static_cast<float>(pixels));
  const long long thousandths = std::llround(pixels * 1000.0);
  const long long size = std::abs(thousandths);
  if (thousandths < 0) json += '-';
  const fmt::format_int whole(size / 1000);
  json.append(whole.data(), whole.size());
  auto rest = static_cast<int>(size % 1000);
  if (rest == 0) return;
  json += '.';
  for (int digit = 100; rest > 0; digit /= 10) {
    json += static_cast<char>('0' + rest / digit);
    rest %= digit;
  }
}

}  // namespace nivra::hostkit
