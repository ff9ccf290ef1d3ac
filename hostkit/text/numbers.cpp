#include "hostkit/text/numbers.h"

#include <fmt/format.h>

namespace nivra::hostkit {

std::string_view trimmed(std::string_view text) {
  const auto isBlank = [](char each) { return each == ' ' || each == '\t' || each == '\r'; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string quoted(std::string_view text) {
  constexpr std::size_t longest = 40;
  return fmt::format("{:?}", trimmed(text).substr(0, longest));
}

std::optional<std::int64_t> parseWhole(std::string_view text, Range<std::int64_t> range) {
  if (const auto whole = parseNumber(text, range)) return whole;
  constexpr double kExact = 9007199254740992.0;  // up to which doubles hold every whole number
  const auto number = parseNumber(text, Range<double>{-kExact, kExact});
  if (!number) return std::nullopt;
  const auto whole = static_cast<std::int64_t>(*number);
  const bool fits = static_cast<double>(whole) == *number && whole >= range.least && whole <= range.most;
  return fits ? std::optional(whole) : std::nullopt;
}

}  // namespace nivra::hostkit
