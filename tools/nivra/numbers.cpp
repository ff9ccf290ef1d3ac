#include "numbers.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <system_error>
#include <type_traits>

namespace nivra::tool {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string quoted(std::string_view text) {
  constexpr std::size_t longest = 40;
  return fmt::format("{:?}", trimmed(text).substr(0, longest));
}

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

template <class Number>
std::string expectation(Range<Number> range) {
  if constexpr (std::is_floating_point_v<Number>) {
    return fmt::format("expected a number from {:.12g} to {:.12g}", range.least, range.most);
  } else {
    return fmt::format("expected a whole number from {} to {}", range.least, range.most);
  }
}

template std::optional<int> parseNumber(std::string_view, Range<int>);
template std::optional<std::uint64_t> parseNumber(std::string_view, Range<std::uint64_t>);
template std::optional<double> parseNumber(std::string_view, Range<double>);
template std::string expectation(Range<int>);
template std::string expectation(Range<std::int64_t>);
template std::string expectation(Range<std::uint64_t>);
template std::string expectation(Range<float>);
template std::string expectation(Range<double>);

}  // namespace nivra::tool
