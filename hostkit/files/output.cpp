#include "hostkit/files/output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <new>
#include <system_error>
#include <utility>

#include "hostkit/errors.h"

namespace nivra::hostkit {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void failWriting(const std::string& name, int reason) {
  if (reason == EPIPE) throw ReaderGone();
  const std::string message = reason == 0 ? "the stream is closed" : std::generic_category().message(reason);
  throw FileError(fmt::format("cannot write {}: {}", name, message));
}

/// Pipes and the like refuse it, and keep nothing.
void keepOnDisk(int descriptor, const std::string& name) {
  if (fsync(descriptor) != 0 && errno != EINVAL && errno != EROFS) failWriting(name, errno);
}

/// Closes the file it holds, at the latest when it ends.
class File {
 public:
  /// @param opened May be null: then it could not be opened, and errno says why.
  File(std::FILE* opened, std::string shownName) : name(std::move(shownName)), file(opened) {
    if (file == nullptr) failWriting(name, errno);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (file != nullptr) std::fclose(file);
  }

  void write(std::string_view text) {
    if (text.empty()) return;  // which may be nowhere at all
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size()) failWriting(name, errno);
  }

  void flush() {
    if (std::fflush(file) != 0) failWriting(name, errno);
  }

  void flushToDisk() {
    flush();
    keepOnDisk(fileno(file), name);
  }

  void close() {
    if (std::fclose(std::exchange(file, nullptr)) != 0) failWriting(name, errno);
  }

 private:
  std::string name;
  std::FILE* file;
};

class DirectOutput final : public Output {
 public:
  // Appending matters where /dev/stdout leads to a file that holds something already.
  explicit DirectOutput(const std::string& path) : file(std::fopen(path.c_str(), "ab"), path) {}

  void write(std::string_view text) override { file.write(text); }
  void flush() override { file.flush(); }
  bool keep() override {
    file.flushToDisk();
    return true;
  }
  void finish() override { file.close(); }

 private:
  File file;
};

class FileOutput final : public Output {
 public:
  explicit FileOutput(const Target& chosen)
      : newFile(chosen.path, chosen.folders),
        file(fdopen(dup(newFile.descriptor()), "wb"), chosen.path),
        replaces(chosen.replaces) {}

  void write(std::string_view text) override { file.write(text); }

  void finish() override {
    file.flushToDisk();
    file.close();
    newFile.publish(replaces);
  }

 private:
  NewFile newFile;
  File file;
  bool replaces;
};

class StreamOutput final : public Output {
 public:
  explicit StreamOutput(std::ostream& target) : stream(target) {}

  void write(std::string_view text) override {
    errno = 0;
    stream << text;
    check();
  }

  void flush() override {
    errno = 0;
    stream.flush();
    check();
  }

  bool keep() override {
    flush();
    if (&stream == &std::cout) keepOnDisk(STDOUT_FILENO, kName);
    return true;
  }

  void finish() override { flush(); }

 private:
  static constexpr char kName[] = "the standard output";

  void check() {
    if (!stream) failWriting(kName, errno);
  }

  std::ostream& stream;
};

/// Packs what is written to another output.
class GzipOutput final : public Output {
 public:
  explicit GzipOutput(std::unique_ptr<Output> packedOutput) : output(std::move(packedOutput)) {
    constexpr int kGzipFormat = 16;
    constexpr int kUsualMemory = 8;
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipFormat + MAX_WBITS, kUsualMemory,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~GzipOutput() override { deflateEnd(&stream); }

  void write(std::string_view text) override {
    constexpr std::size_t kPiece = std::size_t{1} << 30;  // zlib counts in int
    for (; !text.empty(); text.remove_prefix(std::min(text.size(), kPiece))) pack(text.substr(0, kPiece), Z_NO_FLUSH);
  }

  // No flush: a block that ends with every line makes the file larger, and nobody reads it before it is whole.
  void finish() override {
    pack({}, Z_FINISH);
    output->finish();
  }

 private:
  void pack(std::string_view text, int mode) {
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    do {
      stream.next_out = reinterpret_cast<Bytef*>(packed.data());
      stream.avail_out = static_cast<uInt>(packed.size());
      deflate(&stream, mode);
      output->write({packed.data(), packed.size() - stream.avail_out});
    } while (stream.avail_out == 0);
  }

  std::unique_ptr<Output> output;
  std::array<char, 1 << 16> packed;
  z_stream stream{};
};

/// Names such as /dev/stdout stand for an open file, which is not to be replaced even when it is a regular one.
bool namesOpenFile(const fs::path& path) {
  const fs::path folder = fs::absolute(path).lexically_normal().parent_path();
  return folder == "/dev" || folder == "/dev/fd" || folder == "/proc/self/fd";
}

std::unique_ptr<Output> openFile(const Target& target) {
  const std::string& path = target.path;
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  if (fs::is_directory(status)) failWriting(path, EISDIR);
  if (namesOpenFile(path) || (fs::exists(status) && !fs::is_regular_file(status))) {
    return std::make_unique<DirectOutput>(path);
  }
  if (fs::exists(status) && !target.replaces) {
    throw FileError(fmt::format("cannot write {}: it exists already, and --force is not given", path));
  }
  return std::make_unique<FileOutput>(target);
}

bool endsWith(const std::string& text, std::string_view end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

std::unique_ptr<Output> openOutput(const Target& target) {
  if (target.path.empty()) return std::make_unique<StreamOutput>(target.standardOutput);
  auto output = openFile(target);
  return endsWith(target.path, ".gz") ? std::make_unique<GzipOutput>(std::move(output)) : std::move(output);
}

std::unique_ptr<Output> openInside(const Target& target, const std::string& file) {
  return openOutput(
      {target.standardOutput, (fs::path(target.path) / file).string(), target.replaces, NewFile::Folders::areMade});
}

bool standardOutputIsTorn() {
  struct stat status {};
  if (fstat(STDOUT_FILENO, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return false;
  const int file = open("/proc/self/fd/1", O_RDONLY | O_CLOEXEC);  // it is open for writing alone
  if (file < 0) return false;
  char last = '\n';
  const bool isRead = pread(file, &last, 1, status.st_size - 1) == 1;
  close(file);
  return isRead && last != '\n';
}

void print(std::string_view text, const Target& target) {
  const auto output = openOutput(target);
  output->write(text);
  output->finish();
}

void finishAll(std::initializer_list<std::function<void()>> finishes) {
  std::string taken;
  for (const auto& finish : finishes) {
    try {
      finish();
    } catch (const PlaceTaken& fault) {
      taken += (taken.empty() ? "" : "; ") + std::string(fault.what());
    }
  }
  if (!taken.empty()) throw PlaceTaken(taken);
}

}  // namespace nivra::hostkit
