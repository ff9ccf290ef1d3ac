#pragma once

/// @file
/// Diagnostic lines on standard output, stamped with the time of the current frame.

#include <atomic>

#include "nivra/export.h"

namespace nivra {

/// Writes lines to standard output, each prefixed with the timestamp of the frame being processed.
///
/// There is one instance per process. Every tracker sets its timestamp at the start of `update`; with
/// several trackers in one process it holds the timestamp of the one updated last. Any thread may use it at any time;
/// every line is written in one call.
class NIVRA_EXPORT TrackerLogger {
 public:
  /// The one instance; never null, and usable before any tracker exists.
  static TrackerLogger* getDefaultLogger();

  /// @param newTimestamp Time of the current frame, nanoseconds.
  void setTimestamp(unsigned long long newTimestamp);

  /// Writes "ts:<timestamp>: ", the formatted message and a newline.
  void log(const char* format, ...) NIVRA_PRINTF(2, 3);

  /// Writes "ts:<timestamp>, track <trackId>: ", the formatted message and a newline.
  void logTrack(int trackId, const char* format, ...) NIVRA_PRINTF(3, 4);

 private:
  // Relaxed: trackers on different threads share the instance, and nothing is ordered by its value.
  std::atomic<unsigned long long> timestamp{0};
};

}  // namespace nivra
