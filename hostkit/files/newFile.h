#pragma once

#include <filesystem>
#include <string>

#include "hostkit/errors.h"

namespace nivra::hostkit {

/// Something else has come to the place of a file meanwhile; the text says where the file is instead.
struct PlaceTaken : FileError {
  using FileError::FileError;
};

/// A file that comes to its place in a single step when it is complete. Until then it has no name, so that nothing is
/// left of it however the process ends; where the file system knows no such files, it has a temporary one beside its
/// place, which goes with this object or when a signal ends the process.
class NewFile {
 public:
  enum class Naming { late, early };
  enum class Folders { exist, areMade };

  /// @param path Its place, as the caller calls it; what a symbolic link leads to is the place of the file itself.
  /// @param folders Whether `publish` makes the folders that are missing on the way there.
  /// @throws FileError when there can be no file.
  explicit NewFile(const std::string& path, Folders folders = Folders::exist, Naming naming = Naming::late);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  /// To be written to, and to be left open.
  int descriptor() const { return number; }

  /// @param replaces Whether an older file makes room; the new one gets its permissions.
  /// @throws PlaceTaken when there is one that doesn't; the new file is then beside it, under another name.
  void publish(bool replaces);

 private:
  bool openUnnamed();
  void openNamed();
  bool putAt(const std::filesystem::path& place);
  void replace();
  [[noreturn]] void putBeside();
  void makeLast() const;

  std::string name;
  std::filesystem::path target;
  std::filesystem::path workplace;  // the folder that will hold it, or the nearest one that exists
  bool makesFolders;
  int number = -1;
  std::string temporary;  // empty while there is no name
};

}  // namespace nivra::hostkit
