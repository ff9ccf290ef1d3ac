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

/// Has a file removed if such a signal ends the process; the process still ends as by the signal. What the process
/// ignores stays ignored.
/// @param path Stays as it is until it is forgotten.
void removeIfInterrupted(const std::string& path);
void forgetIfInterrupted(const std::string& path);

}  // namespace nivra::hostkit
