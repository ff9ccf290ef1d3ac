#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace nivra::hostkit {

/// Bytes of an int32 or a float32.
inline constexpr std::size_t kWord = 4;

inline std::uint32_t wordAt(const char* bytes) {
  std::uint32_t word = 0;
  for (std::size_t i = kWord; i-- > 0;) word = word << 8U | static_cast<unsigned char>(bytes[i]);
  return word;
}

inline float floatAt(const char* bytes) {
  const std::uint32_t word = wordAt(bytes);
  float number = 0.0F;
  static_assert(sizeof number == sizeof word);
  std::memcpy(&number, &word, sizeof number);
  return number;
}

}  // namespace nivra::hostkit
