#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/files/byteSource.h"

namespace nivra::hostkit {

/// Cuts an input into lines, each as soon as it is complete.
class LineReader {
 public:
  /// Longer lines are passed over, not held in memory.
  static constexpr std::size_t kLongestLine = std::size_t{64} << 20;

  /// @param readableBehind How many bytes behind a line can be read, whatever they are.
  /// @param waitForInput As `ByteSource` has it.
  LineReader(const std::string& path, std::size_t readableBehind, WaitForInput waitForInput = {});

  /// Goes on to the next line.
  /// @return False at the end of the input.
  bool next();

  /// Whether the next line has come already, so that `next` doesn't wait.
  bool hasCome() const;

  /// Without its line break; stays until the next call of `next`. Nothing for one that had to be passed over.
  std::optional<std::string_view> line() const { return current; }
  /// Why there is nothing: the line is longer than `kLongestLine`, or than memory allows.
  const std::string& fault() const { return complaint; }
  std::uint64_t number() const { return lineNumber; }
  std::optional<double> progress() const { return source.progress(); }

 private:
  bool makeRoom();
  bool readMore();
  void finishLine(std::size_t size, std::size_t sizeWithBreak);

  ByteSource source;
  std::size_t margin;
  std::vector<char> buffer;
  std::size_t begin = 0;  // of what has been read, but not handed out
  std::size_t end = 0;
  std::string complaint;  // about the line under way; empty if there is none
  std::optional<std::string_view> current;
  std::uint64_t lineNumber = 0;
};

}  // namespace nivra::hostkit
