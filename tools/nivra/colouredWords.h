#pragma once

#include <streambuf>
#include <string>

namespace nivra::tool {

/// Passes text on to a terminal, and has "error:" and "warning:" stand out where they begin a line.
class ColouredWords final : public std::streambuf {
 public:
  /// @param terminalBuffer Outlives this one.
  explicit ColouredWords(std::streambuf& terminalBuffer) : terminal(terminalBuffer) {}

  /// Whether the environment asks for it: NO_COLOR is absent or empty, and the terminal is not a dumb one.
  static bool areWanted();

 protected:
  int_type overflow(int_type letter) override;
  int sync() override;

 private:
  bool passOn();

  std::streambuf& terminal;
  std::string pending;
  bool isAtLineStart = true;
};

}  // namespace nivra::tool
