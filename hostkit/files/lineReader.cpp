#include "hostkit/files/lineReader.h"

#include <fmt/format.h>

#include <cstring>
#include <new>
#include <utility>

#include "hostkit/errors.h"

namespace nivra::hostkit {

namespace {

constexpr std::size_t kFirstBuffer = std::size_t{1} << 18;

std::string tooLong() { return fmt::format("longer than {} MiB", LineReader::kLongestLine >> 20U); }

}  // namespace

LineReader::LineReader(const std::string& path, std::size_t readableBehind, WaitForInput waitForInput)
    : source(path, std::move(waitForInput)), margin(readableBehind), buffer(kFirstBuffer) {}

bool LineReader::next() {
  complaint.clear();
  for (std::size_t searched = 0;;) {
    const char* const start = buffer.data() + begin;
    const auto* const lineBreak = static_cast<const char*>(std::memchr(start + searched, '\n', end - begin - searched));
    if (lineBreak != nullptr) {
      const auto size = static_cast<std::size_t>(lineBreak - start);
      finishLine(size, size + 1);
      return true;
    }
    searched = end - begin;
    if (searched > kLongestLine) complaint = tooLong();
    if (!complaint.empty() || !makeRoom()) begin = end = searched = 0;
    if (!readMore()) break;
  }
  if (begin == end && complaint.empty()) return false;
  finishLine(end - begin, end - begin);
  return true;
}

bool LineReader::hasCome() const { return std::memchr(buffer.data() + begin, '\n', end - begin) != nullptr; }

/// @return False if memory doesn't suffice for the line.
bool LineReader::makeRoom() {
  std::memmove(buffer.data(), buffer.data() + begin, end - begin);
  end -= begin;
  begin = 0;
  try {
    if (buffer.size() - end < kFirstBuffer / 2 + margin) buffer.resize(buffer.size() * 2);
    return true;
  } catch (const std::bad_alloc&) {
    complaint = kNoMemory;
    return false;
  }
}

bool LineReader::readMore() {
  const std::size_t count = source.read(buffer.data() + end, buffer.size() - end - margin);
  end += count;
  return count > 0;
}

void LineReader::finishLine(std::size_t size, std::size_t sizeWithBreak) {
  current.reset();
  if (size > kLongestLine) complaint = tooLong();
  if (complaint.empty()) current.emplace(buffer.data() + begin, size);
  begin += sizeWithBreak;
  ++lineNumber;
}

}  // namespace nivra::hostkit
