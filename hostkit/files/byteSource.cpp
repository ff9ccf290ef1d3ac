#include "hostkit/files/byteSource.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "hostkit/errors.h"

namespace nivra::hostkit {

namespace {

constexpr std::string_view kGzipMark = "\x1f\x8b";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

bool startsWith(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

std::string lastReason() { return std::generic_category().message(errno); }

}  // namespace

/// Unpacks as far as the bytes that have come allow, so that a packed stream isn't held up.
class ByteSource::Unpacker {
 public:
  explicit Unpacker(std::string_view start) : packed(std::size_t{1} << 16) {
    constexpr int kGzipFormat = 16;
    if (inflateInit2(&stream, kGzipFormat + MAX_WBITS) != Z_OK) throw std::bad_alloc();
    stream.next_in = buffer();
    stream.avail_in = static_cast<uInt>(start.copy(packed.data(), packed.size()));
  }
  Unpacker(const Unpacker&) = delete;
  Unpacker& operator=(const Unpacker&) = delete;
  ~Unpacker() { inflateEnd(&stream); }

  std::size_t read(ByteSource& source, char* target, std::size_t size) {
    const auto room = static_cast<uInt>(std::min(size, std::size_t{1} << 30));
    stream.next_out = reinterpret_cast<Bytef*>(target);
    stream.avail_out = room;
    while (stream.avail_out == room) {
      if (stream.avail_in == 0 && !refill(source)) return 0;
      if (!inMember && !beginsMember(source)) continue;
      const int state = inflate(&stream, Z_NO_FLUSH);
      if (state == Z_STREAM_END) {
        inMember = false;
      } else if (state != Z_OK && state != Z_BUF_ERROR) {
        source.fail("damaged gzip data");
      }
    }
    return room - stream.avail_out;
  }

 private:
  Bytef* buffer() { return reinterpret_cast<Bytef*>(packed.data()); }

  /// Whether another file was packed and put behind the last one; zeros there are padding.
  bool beginsMember(const ByteSource& source) {
    for (; stream.avail_in > 0 && *stream.next_in == 0; --stream.avail_in) ++stream.next_in;
    if (stream.avail_in == 0) return false;
    if (*stream.next_in != static_cast<Bytef>(kGzipMark[0])) source.fail("something else follows the gzip data");
    inflateReset(&stream);
    return inMember = true;
  }

  bool refill(ByteSource& source) {
    stream.next_in = buffer();
    stream.avail_in = static_cast<uInt>(source.readStored(packed.data(), packed.size()));
    if (stream.avail_in == 0 && inMember && !source.isCutShort) source.fail("the gzip data ends too early");
    return stream.avail_in > 0;
  }

  std::vector<char> packed;
  z_stream stream{};
  bool inMember = true;
};

std::string shownName(const std::string& path) { return path == kStandardInput ? "the standard input" : path; }

bool isRegularFile(const std::string& path) {
  std::error_code ignored;
  return path != kStandardInput && std::filesystem::is_regular_file(path, ignored);
}

ByteSource::ByteSource(const std::string& path, WaitForInput waitForInput)
    : name(shownName(path)),
      descriptor(path == kStandardInput ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      wait(std::move(waitForInput)) {
  if (descriptor.number < 0) fail(lastReason());
  struct stat status {};
  if (fstat(descriptor.number, &status) == 0 && S_ISREG(status.st_mode)) length = static_cast<double>(status.st_size);

  readHead([this](char* target, std::size_t size) { return readStored(target, size); });
  if (startsWith(head, kGzipMark)) {
    unpacker = std::make_unique<Unpacker>(head);
    readHead([this](char* target, std::size_t size) { return unpacker->read(*this, target, size); });
  }
  if (head == kByteOrderMark) head.clear();
}

ByteSource::~ByteSource() = default;

ByteSource::Descriptor::~Descriptor() {
  if (number >= 0 && number != STDIN_FILENO) close(number);
}

std::size_t ByteSource::read(char* target, std::size_t size) {
  if (size == 0) return 0;
  if (!head.empty()) {
    const std::size_t count = head.copy(target, size);
    head.erase(0, count);
    return count;
  }
  return unpacker ? unpacker->read(*this, target, size) : readStored(target, size);
}

std::optional<double> ByteSource::progress() const {
  if (!length) return std::nullopt;
  return *length > 0.0 ? std::min(taken / *length, 1.0) : 1.0;
}

std::size_t ByteSource::readStored(char* target, std::size_t size) {
  if (isCutShort || (wait && !wait(descriptor.number))) {
    isCutShort = true;
    return 0;
  }
  ssize_t count = 0;
  do {
    count = ::read(descriptor.number, target, size);
  } while (count < 0 && errno == EINTR);
  if (count < 0) fail(lastReason());
  taken += static_cast<double>(count);
  return static_cast<std::size_t>(count);
}

/// Looks at as many bytes as the longest mark has; every line that says something has more.
template <class Read>
void ByteSource::readHead(Read read) {
  std::string bytes(kByteOrderMark.size(), '\0');
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const std::size_t count = read(bytes.data() + filled, bytes.size() - filled);
    if (count == 0) break;
    filled += count;
  }
  head = bytes.substr(0, filled);
}

void ByteSource::fail(const std::string& reason) const {
  throw FileError(fmt::format("cannot read {}: {}", name, reason));
}

}  // namespace nivra::hostkit
