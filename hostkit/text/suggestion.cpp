#include "hostkit/text/suggestion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace nivra::hostkit {

namespace {

char lower(char character) { return static_cast<char>(std::tolower(static_cast<unsigned char>(character))); }

/// How many characters have to be put in, left out, replaced or exchanged with their neighbour; letters of either case
/// are alike.
std::size_t editsBetween(std::string_view a, std::string_view b) {
  std::vector<std::size_t> beforeLast(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    beforeLast.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = lower(a[i - 1]) == lower(b[j - 1]);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0U : 1U)});
      const bool exchanged = i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) && lower(a[i - 2]) == lower(b[j - 1]);
      if (exchanged) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
  }
  return row[b.size()];
}

}  // namespace

std::string suggestionFor(std::string_view mistyped, const std::vector<std::string>& known) {
  constexpr std::size_t kLongest = 100;
  if (known.empty() || mistyped.size() > kLongest) return "";
  const auto edits = [&](const std::string& word) { return editsBetween(mistyped, word); };
  const auto nearest =
      std::min_element(known.begin(), known.end(), [&](const auto& a, const auto& b) { return edits(a) < edits(b); });
  if (edits(*nearest) > std::max<std::size_t>(1, nearest->size() / 3)) return "";
  return fmt::format("; did you mean {}?", *nearest);
}

}  // namespace nivra::hostkit
