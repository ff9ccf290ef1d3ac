#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "hostkit/files/newFile.h"

namespace nivra::hostkit {

/// Where results go. Nothing counts as written before `finish` has returned.
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  virtual ~Output() = default;

  /// @throws FileError when the text cannot be written, ReaderGone when nobody reads it any more.
  virtual void write(std::string_view text) = 0;
  /// Hands over what was written so far to whoever reads along; a file shows it when it is finished.
  virtual void flush() {}
  /// Has what was handed over outlive a failure of power, where that is possible.
  /// @return False where nothing lasts before `finish`.
  virtual bool keep() { return false; }
  virtual void finish() = 0;
};

/// What the caller says about an output.
struct Target {
  std::ostream& standardOutput;
  std::string path = {};  // empty for the standard output
  bool replaces = false;  // may take the place of an older file
  NewFile::Folders folders = NewFile::Folders::exist;
};

/// A file, which `finish` puts in its place in a single step; until then, and when anything fails, an older one stays
/// as it is, and so does one that comes there meanwhile, unless it may be replaced. It is packed when its name ends in
/// ".gz". Devices, pipes and the like are written to directly.
/// @throws FileError when it cannot be opened, or would replace a file without permission.
std::unique_ptr<Output> openOutput(const Target& target);

/// Whether the standard output is a file whose last line lacks its end, as when a process was killed while it wrote.
bool standardOutputIsTorn();

/// Writes a text that is the whole output.
void print(std::string_view text, const Target& target);

/// The output for a file inside of the folder that `target` names, which is made when the file is finished.
std::unique_ptr<Output> openInside(const Target& target, const std::string& file);

/// Finishes outputs that belong together, each by a call of its own.
/// @throws PlaceTaken when something came to the place of some of them; all are then somewhere, and the text tells it.
void finishAll(std::initializer_list<std::function<void()>> finishes);

}  // namespace nivra::hostkit
