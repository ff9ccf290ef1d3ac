#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace nivra::hostkit {

/// The path that stands for the standard input.
inline const std::string kStandardInput = "-";

/// How an input is called in messages.
std::string shownName(const std::string& path);

/// Whether a path leads to a file that can be read more than once, and known from its beginning.
bool isRegularFile(const std::string& path);

/// Waits until there may be something to be read from a descriptor; false when nothing is to be read any more.
using WaitForInput = std::function<bool(int descriptor)>;

/// The bytes of an input, unpacked if gzip has packed them, and without a byte order mark.
class ByteSource {
 public:
  /// @param waitForInput Called each time before more is read; empty to read at once.
  /// @throws FileError naming the input and the reason, as `read` does.
  explicit ByteSource(const std::string& path, WaitForInput waitForInput = {});
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  ~ByteSource();

  /// Waits until there are bytes, and takes what is there.
  /// @return How many were put to `target`; 0 at the end.
  std::size_t read(char* target, std::size_t size);

  /// How much of a regular file has been read, from 0 to 1; nothing for anything else.
  std::optional<double> progress() const;

 private:
  class Unpacker;

  /// Closes what it holds, unless that is the standard input.
  struct Descriptor {
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();

    int number;
  };

  std::size_t readStored(char* target, std::size_t size);
  template <class Read>
  void readHead(Read read);
  [[noreturn]] void fail(const std::string& reason) const;

  std::string name;
  Descriptor descriptor;
  WaitForInput wait;
  bool isCutShort = false;
  std::optional<double> length;
  double taken = 0.0;
  std::unique_ptr<Unpacker> unpacker;
  std::string head;  // what has been looked at, but not taken
};

}  // namespace nivra::hostkit
