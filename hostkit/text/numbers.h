#pragma once

#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace nivra::hostkit {

/// The numbers that a field or an option accepts, both ends included.
template <class Number>
struct Range {
  Number least;
  Number most;
};

/// About twelve days at ten frames per second; beyond it a frame number is a typing error.
constexpr int kMostFrames = 10'000'000;
constexpr Range<int> kFrameCounts = {1, kMostFrames};
/// Coordinates far beyond any picture, whose squares are still finite in the library's single precision.
constexpr Range<double> kCoordinates = {-1e9, 1e9};
constexpr Range<double> kSizes = {0.0, kCoordinates.most};
/// Coordinates as fractions of a picture, beyond whose border boxes may reach; there is no box so small in pixels.
constexpr Range<double> kFractions = {-1.0, 2.0};
constexpr Range<int> kPictureSides = {1, 1'000'000};
/// Timestamps stay distinct at the upper end, and below 2^63 nanoseconds for all frames at the lower one.
constexpr Range<double> kFrameRates = {0.01, 1e6};

/// `text` without blanks, tabs and carriage returns at its ends.
std::string_view trimmed(std::string_view text);

/// The beginning of `text` in quotes, unprintable characters escaped.
std::string quoted(std::string_view text);

/// Reads all of `text` as one decimal number, blanks around it allowed, whatever the locale.
/// @return Nothing for anything else, and for numbers outside `range`.
template <class Number>
std::optional<Number> parseNumber(std::string_view text, Range<Number> range) {
  const std::string_view digits = trimmed(text);
  const char* const digitsEnd = digits.data() + digits.size();
  Number number{};
  const auto [end, fault] = std::from_chars(digits.data(), digitsEnd, number);
  if (fault != std::errc{} || end != digitsEnd) return std::nullopt;
  const bool inRange = number >= range.least && number <= range.most;  // false for NaN
  return inRange ? std::optional<Number>(number) : std::nullopt;
}

/// Reads a whole number that may be written like one with a fraction, such as 1.000e+00.
std::optional<std::int64_t> parseWhole(std::string_view text, Range<std::int64_t> range);

/// For example "expected a whole number from 1 to 9".
template <class Number>
std::string expectation(Range<Number> range) {
  if constexpr (std::is_floating_point_v<Number>) {
    return fmt::format("expected a number from {:.12g} to {:.12g}", range.least, range.most);
  } else {
    return fmt::format("expected a whole number from {} to {}", range.least, range.most);
  }
}

/// `expectation` and what was found instead, in quotes and shortened.
template <class Number>
std::string complaint(std::string_view text, Range<Number> range) {
  return expectation(range) + ", found " + quoted(text);
}

}  // namespace nivra::hostkit
