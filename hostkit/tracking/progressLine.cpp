#include "hostkit/tracking/progressLine.h"

#include <fmt/format.h>

#include <utility>

namespace nivra::hostkit {

namespace {

constexpr char kClearLine[] = "\r\x1b[K";

}  // namespace

void ProgressLine::hide() {
  if (std::exchange(isShown, false)) *out << kClearLine << std::flush;
}

void ProgressLine::show(std::uint64_t frames, std::optional<double> share, Clock::time_point now) {
  if (out == nullptr || now < next) return;
  next = now + std::chrono::milliseconds(100);
  isShown = true;
  const double seconds = std::chrono::duration<double>(now - start).count();
  *out << kClearLine << frames << " frames";
  if (share) *out << fmt::format(", {:.0f} %", 100.0 * *share);
  if (seconds > 0.0) *out << fmt::format(", {:.0f} frames/s", static_cast<double>(frames) / seconds);
  if (share && *share > 0.0) {
    const double left = seconds / *share - seconds;
    *out << fmt::format(", {}:{:02} left", static_cast<int>(left) / 60, static_cast<int>(left) % 60);
  }
  *out << std::flush;
}

}  // namespace nivra::hostkit
