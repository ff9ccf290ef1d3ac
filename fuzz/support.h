#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "nivra/nivra.h"

namespace nivra::fuzz {

/// Ends the process, and the run of the fuzzer with it, after saying which promise was broken.
[[noreturn]] void fail(const char* promise, const std::string& detail = {});

inline void require(bool kept, const char* promise, const std::string& detail = {}) {
  if (!kept) fail(promise, detail);
}

/// A number of arbitrary bits: not a number, infinite and denormal ones among them.
inline float anyFloat(FuzzedDataProvider& data) {
  const auto bits = data.ConsumeIntegral<std::uint32_t>();
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

/// A coordinate or size from -2 to 2 in steps of 1/16, so that many coincide.
inline float latticeFloat(FuzzedDataProvider& data) {
  return static_cast<float>(data.ConsumeIntegralInRange(-32, 32)) / 16.0F;
}

inline float anyNumber(FuzzedDataProvider& data, bool isWild) { return isWild ? anyFloat(data) : latticeFloat(data); }

/// @param isWild Whether its numbers are of arbitrary bits.
ObjectDetection anyDetection(FuzzedDataProvider& data, bool isWild);

}  // namespace nivra::fuzz
