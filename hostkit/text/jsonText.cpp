#include "hostkit/text/jsonText.h"

#include <fmt/compile.h>
#include <fmt/format.h>
#include <simdjson.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace nivra::hostkit {

namespace {

constexpr std::size_t kLongestNumber = 32;  // in characters

bool isPlain(char character) {
  return static_cast<unsigned char>(character) >= 0x20 && static_cast<unsigned char>(character) < 0x7F &&
         character != '"' && character != '\\';
}

constexpr std::array<std::array<char, 4>, 1000> everyThousandth() {
  std::array<std::array<char, 4>, 1000> all{};
  for (int i = 0; i < 1000; ++i) {
    all[static_cast<std::size_t>(i)] = {'.', static_cast<char>('0' + i / 100), static_cast<char>('0' + i / 10 % 10),
                                        static_cast<char>('0' + i % 10)};
  }
  return all;
}

/// A point and three digits each. Numbers of pixels are most of a stream's text.
constexpr std::array<std::array<char, 4>, 1000> kThousandths = everyThousandth();

/// @return Behind the digits.
char* putWhole(std::uint64_t number, char* end) {
  const std::array<char, 4>& digits = kThousandths[number % 1000];
  if (number >= 1000) end = putWhole(number / 1000, end);
  if (number >= 100) *end++ = digits[1];
  if (number >= 10) *end++ = digits[2];
  *end++ = digits[3];
  return end;
}

template <class Number>
void appendShortest(TextBuffer& json, Number number) {
  if (number == 0 && std::signbit(number)) {
    json += "-0.0";  // "-0" would be read as a whole number, which loses the sign
  } else if (std::isfinite(number)) {
    json.use(fmt::format_to(json.room(kLongestNumber), FMT_COMPILE("{}"), number));
  } else {
    json += "null";
  }
}

}  // namespace

void appendQuoted(TextBuffer& json, std::string_view text) {
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

void appendNumber(TextBuffer& json, float number) { appendShortest(json, number); }

void appendDouble(TextBuffer& json, double number) { appendShortest(json, number); }

void appendPixels(TextBuffer& json, double pixels) {
  constexpr double kExact = 1e12;  // thousandths beyond it leave the whole numbers of a double
  if (!(std::abs(pixels) < kExact)) return appendNumber(json, static_cast<float>(pixels));
  const double size = std::abs(pixels) * 1000.0;
  auto thousandths = static_cast<std::uint64_t>(size);
  // As std::llround does it, but in place: what was cut off is exact.
  if (size - static_cast<double>(thousandths) >= 0.5) ++thousandths;
  char* end = json.room(kLongestNumber);
  if (pixels < 0.0 && thousandths > 0) *end++ = '-';
  end = putWhole(thousandths / 1000, end);
  const std::uint64_t rest = thousandths % 1000;
  std::memcpy(end, kThousandths[rest].data(), 4);
  json.use(end + (rest == 0 ? 0 : rest % 100 == 0 ? 2 : rest % 10 == 0 ? 3 : 4));
}

}  // namespace nivra::hostkit
