#include "states/checksum.h"

#include <array>

#include "nivra/stateArchive.h"

namespace nivra {

namespace {

constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15U;  // 2^64 over the golden ratio: bits without a pattern

/// Every step can be undone, so a difference in one word never vanishes.
std::uint64_t mixed(std::uint64_t sum, std::uint64_t word) {
  const std::uint64_t product = (sum ^ word) * kOdd;
  return product ^ product >> 32U;
}

}  // namespace

std::uint64_t checksumOf(std::string_view bytes) {
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  std::uint64_t sum = kOdd ^ bytes.size();
  std::uint64_t word = 0;
  for (; bytes.size() >= kWord; bytes.remove_prefix(kWord)) {
    internal::decode(bytes.data(), word);
    sum = mixed(sum, word);
  }
  std::array<char, kWord> rest{};
  bytes.copy(rest.data(), rest.size());
  internal::decode(rest.data(), word);
  return mixed(mixed(sum, word), 0);
}

}  // namespace nivra
