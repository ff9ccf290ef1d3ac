#pragma once

#include <stdexcept>

namespace nivra::hostkit {

/// The command was called wrongly: exit code 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// An input cannot be used or an output not written: exit code 1.
struct FileError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What is said of a record that was too large.
constexpr char kNoMemory[] = "not enough memory";

/// Whoever read the output has gone; nothing is left to do, and nothing to complain about.
struct ReaderGone : std::exception {};

}  // namespace nivra::hostkit
