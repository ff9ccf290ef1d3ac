#include "nivra/trackerLogger.h"

#include <cstdarg>
#include <cstdio>

namespace nivra {

namespace {

// Constant-initialised: usable from any static initialiser of the host.
TrackerLogger defaultLogger;

void writeMessage(const char* format, std::va_list arguments) {
  std::vprintf(format, arguments);
  std::printf("\n");
}

}  // namespace

TrackerLogger* TrackerLogger::getDefaultLogger() { return &defaultLogger; }

void TrackerLogger::setTimestamp(unsigned long long newTimestamp) {
  timestamp.store(newTimestamp, std::memory_order_relaxed);
}

void TrackerLogger::log(const char* format, ...) {
  std::printf("ts:%llu: ", timestamp.load(std::memory_order_relaxed));
  std::va_list arguments;
  va_start(arguments, format);
  writeMessage(format, arguments);
  va_end(arguments);
}

void TrackerLogger::logTrack(int trackId, const char* format, ...) {
  std::printf("ts:%llu, track %d: ", timestamp.load(std::memory_order_relaxed), trackId);
  std::va_list arguments;
  va_start(arguments, format);
  writeMessage(format, arguments);
  va_end(arguments);
}

}  // namespace nivra
