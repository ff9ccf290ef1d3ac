#include "hostkit/text/base64.h"

#include <array>
#include <cstdint>

namespace nivra::hostkit {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kGroup = 4;                // digits for three bytes
constexpr std::uint32_t kNoDigit = 0xFF000000U;  // beyond the bits of a group

using Values = std::array<std::uint32_t, 256>;  // of characters

/// What each character adds to the 24 bits of its group, by its place in it, so that nothing is left to shift.
constexpr std::array<Values, kGroup> valuesInGroups() {
  std::array<Values, kGroup> all{};
  for (std::size_t place = 0; place < kGroup; ++place) {
    for (std::uint32_t& each : all[place]) each = kNoDigit;
    std::uint32_t value = 0;
    for (const char digit : kDigits) all[place][static_cast<unsigned char>(digit)] = value++ << (18 - 6 * place);
  }
  return all;
}

std::uint32_t bitsOf(const char* group) {
  static constexpr std::array<Values, kGroup> values = valuesInGroups();
  const auto at = [&](std::size_t place) { return values[place][static_cast<unsigned char>(group[place])]; };
  return at(0) | at(1) | at(2) | at(3);
}

/// The first bytes of a group.
void put(std::uint32_t bits, std::size_t count, char* bytes) {
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(bits >> (16 - 8 * i));
}

std::size_t digitsIn(std::string_view text) {
  std::size_t count = text.size();
  while (count > 0 && text.size() - count < 2 && text[count - 1] == '=') --count;
  return count;
}

}  // namespace

void appendBase64(TextBuffer& text, std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::string_view group = bytes.substr(at, 3);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      bits = bits << 8U | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
    }
    for (std::size_t i = 0; i < kGroup; ++i) {
      text += i <= group.size() ? kDigits[bits >> (18 - 6 * i) & 0x3FU] : '=';
    }
  }
}

std::optional<std::size_t> sizeFromBase64(std::string_view text) {
  const std::size_t digits = digitsIn(text);
  const bool isPadded = digits < text.size();
  if (digits % kGroup == 1 || (isPadded && text.size() % kGroup != 0)) return std::nullopt;
  return digits / kGroup * 3 + digits % kGroup * 3 / kGroup;
}

std::optional<std::size_t> decodeBase64(std::string_view text, char* bytes) {
  const std::string_view digits = text.substr(0, digitsIn(text));
  std::uint32_t all = 0;
  std::size_t at = 0;
  for (; at + kGroup <= digits.size(); at += kGroup, bytes += 3) {
    const std::uint32_t bits = bitsOf(digits.data() + at);
    all |= bits;
    put(bits, 3, bytes);
  }
  std::uint32_t unused = 0;
  if (const std::size_t rest = digits.size() - at; rest > 1) {
    std::array<char, kGroup> group = {'A', 'A', 'A', 'A'};  // which stands for no bits
    digits.copy(group.data(), rest, at);
    const std::uint32_t bits = bitsOf(group.data());
    all |= bits;
    put(bits, rest - 1, bytes);
    unused = bits << (8 * (rest - 1)) & 0xFFFFFFU;
  }
  if ((all & kNoDigit) != 0) return digits.find_first_not_of(kDigits);
  return unused == 0 ? std::nullopt : std::optional<std::size_t>(digits.size() - 1);
}

}  // namespace nivra::hostkit
