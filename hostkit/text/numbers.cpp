#include "hostkit/text/numbers.h"

#include <fmt/format.h>

namespace nivra::hostkit {

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

}  // namespace nivra::hostkit
