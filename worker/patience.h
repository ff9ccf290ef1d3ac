#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ostream>
#include <string>
#include <thread>

#include "worker/log.h"

namespace nivra::worker {

/// Says once when the log has become unavailable, and once when it is there again.
class AvailabilityNotice {
 public:
  explicit AvailabilityNotice(std::ostream& messages) : err(messages) {}

  void failed(const std::string& reason) {
    if (reason == told) return;
    err << fmt::format("Redis is unavailable, and tried again and again: {}\n", reason) << std::flush;
    told = reason;
  }

  void worked() {
    if (told.empty()) return;
    err << "Redis is available again\n" << std::flush;
    told.clear();
  }

 private:
  std::ostream& err;
  std::string told;
};

/// Does what has to be done, however long the log is unavailable.
class Patience {
 public:
  explicit Patience(std::ostream& messages) : notice(messages) {}

  /// @param attempt May be made again whatever became of the last one.
  template <class Attempt>
  void until(Attempt attempt) {
    constexpr std::chrono::milliseconds kLongest{2000};
    for (std::chrono::milliseconds pause{50};; pause = std::min(pause * 2, kLongest)) {
      try {
        attempt();
        return notice.worked();
      } catch (const LogUnavailable& fault) {
        notice.failed(fault.what());
      }
      std::this_thread::sleep_for(pause);
    }
  }

 private:
  AvailabilityNotice notice;
};

}  // namespace nivra::worker
