#pragma once

#include <cstdint>
#include <random>

namespace nivra::test {

/// The same numbers everywhere: only the engine of <random> is used, whose numbers are fixed by the standard.
class Dice {
 public:
  explicit Dice(std::uint32_t seed) : engine(seed) {}

  float between(float low, float high) {
    return low + (high - low) * static_cast<float>(static_cast<double>(engine()) / 4294967296.0);
  }
  bool happens(float probability) { return between(0.0F, 1.0F) < probability; }
  std::size_t below(std::size_t count) { return engine() % count; }

 private:
  std::mt19937 engine;
};

}  // namespace nivra::test
