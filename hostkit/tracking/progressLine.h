#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>

namespace nivra::hostkit {

/// Tells on a terminal, in a line that is written again and again, how far the work has come.
class ProgressLine {
 public:
  using Clock = std::chrono::steady_clock;

  /// @param terminal Null for silence.
  ProgressLine(std::ostream* terminal, Clock::time_point now) : out(terminal), start(now), next(now) {}
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() { hide(); }

  /// Makes room for other lines.
  void hide();

  /// @param share Of the work that is done, from 0 to 1, if anybody knows.
  void show(std::uint64_t frames, std::optional<double> share, Clock::time_point now);

 private:
  std::ostream* out;
  Clock::time_point start;
  Clock::time_point next;
  bool isShown = false;
};

}  // namespace nivra::hostkit
