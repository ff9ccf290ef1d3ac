#pragma once

#include <cstdint>
#include <random>

namespace nivra::hostkit {

/// Random numbers that are the same everywhere: the standard's distributions are left to each implementation, and
/// so is the accuracy of its transcendental functions.
class Random {
 public:
  /// @param stream Streams of one seed have nothing to do with each other: what one of them decides can be drawn more
  ///     or less often without a change to what the others decide.
  explicit Random(std::uint64_t seed, std::uint64_t stream = 0) : engine(seed + stream * 0x9E3779B97F4A7C15U) {}

  double uniform(double least, double most) {
    constexpr double kSteps = 9007199254740992.0;  // 2^53, the resolution of a double
    return least + (most - least) * (static_cast<double>(engine() >> 11U) / kSteps);
  }

  float between(float least, float most) { return static_cast<float>(uniform(least, most)); }

  bool chance(double probability) { return uniform(0.0, 1.0) < probability; }

  /// Close to a normal distribution: twelve uniform numbers have a variance of 1 together.
  double normal() {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i) sum += uniform(0.0, 1.0);
    return sum;
  }

 private:
  std::mt19937_64 engine;
};

}  // namespace nivra::hostkit
