#include "nivra/trackerLogger.h"

#include <cstdarg>
#include <cstdio>
#include <string>

namespace nivra {

namespace {

// Constant-initialised: usable from any static initialiser of the host.
TrackerLogger defaultLogger;

/// One call for the whole line, so that lines of several threads don't mix.
/// @param prefix Free of percent signs.
void writeLine(const std::string& prefix, const char* format, std::va_list arguments) {
  const std::string lineFormat = prefix + format + '\n';
  std::vprintf(lineFormat.c_str(), arguments);
}

}  // namespace

TrackerLogger* TrackerLogger::getDefaultLogger() { return &defaultLogger; }

void TrackerLogger::setTimestamp(unsigned long long newTimestamp) {
  timestamp.store(newTimestamp, std::memory_order_relaxed);
}

void TrackerLogger::log(const char* format, ...) {
  const std::string prefix = "ts:" + std::to_string(timestamp.load(std::memory_order_relaxed)) + ": ";
  std::va_list arguments;
  va_start(arguments, format);
  writeLine(prefix, format, arguments);
  va_end(arguments);
}

void TrackerLogger::logTrack(int trackId, const char* format, ...) {
  const std::string prefix =
      "ts:" + std::to_string(timestamp.load(std::memory_order_relaxed)) + ", track " + std::to_string(trackId) + ": ";
  std::va_list arguments;
  va_start(arguments, format);
  writeLine(prefix, format, arguments);
  va_end(arguments);
}

}  // namespace nivra
