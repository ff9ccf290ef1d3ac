#include "hostkit/files/interruption.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <iterator>

namespace nivra::hostkit {

namespace {

constexpr std::array<int, 4> kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/// More files than a command has under way at once. All that a signal handler touches.
std::array<std::atomic<const char*>, 16> doomed;
static_assert(std::atomic<const char*>::is_always_lock_free);

std::atomic<bool> interruptionHasCome;
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void noteInterruption(int) { interruptionHasCome = true; }

extern "C" void removeFilesAndEnd(int signal) {
  for (auto& each : doomed) {
    if (const char* const path = each.exchange(nullptr)) unlink(path);
  }
  raise(signal);  // it has its usual effect again
}

void catchSignals() {
  struct sigaction action {};
  action.sa_handler = removeFilesAndEnd;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : kSignals) sigaddset(&action.sa_mask, signal);
  for (const int signal : kSignals) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler == SIG_DFL) sigaction(signal, &action, nullptr);
  }
}

}  // namespace

InterruptionHeld::InterruptionHeld() : usual() {
  sigset_t held;
  sigemptyset(&held);
  for (const int signal : kSignals) sigaddset(&held, signal);
  pthread_sigmask(SIG_BLOCK, &held, &usual);
}

InterruptionHeld::~InterruptionHeld() { pthread_sigmask(SIG_SETMASK, &usual, nullptr); }

InterruptionNoted::InterruptionNoted() : usual() {
  interruptionHasCome = false;
  struct sigaction noted {};
  noted.sa_handler = noteInterruption;
  noted.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], nullptr, &usual[i]);
    if (usual[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &noted, nullptr);
  }
}

InterruptionNoted::~InterruptionNoted() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &usual[i], nullptr);
}

bool InterruptionNoted::hasCome() const { return interruptionHasCome; }

InterruptionNoted::Waking InterruptionNoted::waitFor(int descriptor,
                                                     std::optional<std::chrono::nanoseconds> longest) const {
  const InterruptionHeld untilItWaits;
  if (hasCome()) return Waking::interruption;
  using std::chrono::seconds;
  const auto time = std::max(longest.value_or(seconds(0)), std::chrono::nanoseconds(0));
  const auto whole = std::chrono::floor<seconds>(time);
  const timespec span = {static_cast<std::time_t>(whole.count()), static_cast<long>((time - whole).count())};
  pollfd watched = {descriptor, POLLIN, 0};
  const int ready = ppoll(&watched, 1, longest ? &span : nullptr, &untilItWaits.usualOnes());
  if (ready < 0 && errno == EINTR) return hasCome() ? Waking::interruption : Waking::time;
  return ready == 0 ? Waking::time : Waking::input;
}

void removeIfInterrupted(const std::string& path) {
  catchSignals();
  for (auto& each : doomed) {
    const char* expected = nullptr;
    if (each.compare_exchange_strong(expected, path.c_str())) return;
  }
}

void forgetIfInterrupted(const std::string& path) {
  for (auto& each : doomed) {
    const char* expected = path.c_str();
    if (each.compare_exchange_strong(expected, nullptr)) return;
  }
}

}  // namespace nivra::hostkit
