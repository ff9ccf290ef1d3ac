#pragma once

#include <chrono>
#include <csignal>
#include <optional>
#include <string>

namespace nivra::hostkit {

/// Keeps the signals that usually end a process waiting for as long as it lives.
class InterruptionHeld {
 public:
  InterruptionHeld();
  InterruptionHeld(const InterruptionHeld&) = delete;
  InterruptionHeld& operator=(const InterruptionHeld&) = delete;
  ~InterruptionHeld();

  /// The signals that are held without it.
  const sigset_t& usualOnes() const { return usual; }

 private:
  sigset_t usual;
};

/// Has the first interruption from the keyboard, or by SIGTERM, noted instead of ending the process for as long as it
/// lives; the next one ends it. What the process ignores stays ignored, and what it reads or writes is not cut short.
/// There is one at a time.
class InterruptionNoted {
 public:
  InterruptionNoted();
  InterruptionNoted(const InterruptionNoted&) = delete;
  InterruptionNoted& operator=(const InterruptionNoted&) = delete;
  ~InterruptionNoted();

  bool hasCome() const;

  enum class Waking { input, time, interruption };
  /// Waits until something can be read from a descriptor, or reading would tell what is wrong with it; until the time
  /// is over, or another signal comes; or until the interruption comes.
  /// @param longest Nothing for ever.
  Waking waitFor(int descriptor, std::optional<std::chrono::nanoseconds> longest) const;

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM};
  struct sigaction usual[2];
};

/// Has a file removed if such a signal ends the process; the process still ends as by the signal. What the process
/// ignores stays ignored.
/// @param path Stays as it is until it is forgotten.
void removeIfInterrupted(const std::string& path);
void forgetIfInterrupted(const std::string& path);

}  // namespace nivra::hostkit
