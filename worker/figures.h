#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace nivra::worker {

/// How many of a kind of durations there were of each length.
class Histogram {
 public:
  static constexpr std::array<double, 13> kBounds = {0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1,
                                                     0.2,   0.5,   1.0,   2.0,  5.0,  10.0};  // seconds

  void add(double seconds);

  /// Appends lines of the text format of Prometheus.
  void write(const char* name, const char* about, std::string& text) const;

 private:
  std::array<std::uint64_t, kBounds.size()> counts{};
  std::uint64_t count = 0;
  double sum = 0.0;
};

/// What a worker has done since it began.
struct Figures {
  std::uint64_t answered = 0;  // entries
  std::uint64_t refused = 0;   // of these, lines with a fault
  std::uint64_t setAside = 0;  // of these, poison
  std::uint64_t caughtUp = 0;  // entries that others had answered since the state
  std::uint64_t statesStored = 0;
  std::uint64_t stateBytes = 0;
  std::uint64_t claimed = 0;   // shards
  std::uint64_t lost = 0;      // shards, to workers that held this one for dead
  std::uint64_t failures = 0;  // of the log
  std::string lastFailure;
  std::uint64_t held = 0;     // shards, at present
  Histogram lag;              // from an entry's arrival to its answer
  Histogram commits;          // what they took
  double busySeconds = 0.0;   // on answers
  double stateSeconds = 0.0;  // on making states
};

/// All of them in the text format of Prometheus.
std::string prometheusText(const Figures& figures);

}  // namespace nivra::worker
