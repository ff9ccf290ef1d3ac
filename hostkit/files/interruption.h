#pragma once

#include <csignal>
#include <string>

namespace nivra::hostkit {

/// Keeps the signals that usually end a process waiting for as long as it lives.
class InterruptionHeld {
 public:
  InterruptionHeld();
  InterruptionHeld(const InterruptionHeld&) = delete;
  InterruptionHeld& operator=(const InterruptionHeld&) = delete;
  ~InterruptionHeld();

 private:
  sigset_t usual;
};

/// Has the first interruption from the keyboard, or by SIGTERM, noted instead of ending the process for as long as it
/// lives; the next one ends it. What the process ignores stays ignored. There is one at a time.
class InterruptionNoted {
 public:
  InterruptionNoted();
  InterruptionNoted(const InterruptionNoted&) = delete;
  InterruptionNoted& operator=(const InterruptionNoted&) = delete;
  ~InterruptionNoted();

  bool hasCome() const;

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
