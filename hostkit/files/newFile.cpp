#include "hostkit/files/newFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <vector>

#include "hostkit/files/interruption.h"

namespace nivra::hostkit {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& name, int reason) {
  throw FileError(fmt::format("cannot write {}: {}", name, std::generic_category().message(reason)));
}

/// Where a file of this name would be: at the end of the symbolic links, whether there is one already or not.
fs::path behindLinks(const std::string& name) {
  constexpr int kMostLinks = 40;
  fs::path path = name;
  std::error_code fault;
  for (int links = 0; fs::is_symlink(fs::symlink_status(path, fault)); ++links) {
    const fs::path next = fs::read_symlink(path, fault);
    if (fault || links == kMostLinks) fail(name, fault ? fault.value() : ELOOP);
    path = path.parent_path() / next;
  }
  return path;
}

fs::path folderOf(const fs::path& path) { return path.has_parent_path() ? path.parent_path() : fs::path("."); }

/// The folders on the way to a file that are not there, the outermost one last.
std::vector<fs::path> missingFoldersOf(const fs::path& file) {
  std::vector<fs::path> missing;
  std::error_code ignored;
  for (fs::path folder = folderOf(file); fs::status(folder, ignored).type() == fs::file_type::not_found;
       folder = folderOf(folder)) {
    missing.push_back(folder);
  }
  return missing;
}

/// Temporary files are private to their owner; these are the permissions that a plain new file would have.
mode_t permissionsOfNewFiles() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666U & ~mask;
}

/// "tracks-2.jsonl.gz" for "tracks.jsonl.gz".
fs::path numbered(const fs::path& file, int number) {
  const std::string name = file.filename().string();
  const auto end = std::min(name.find('.', 1), name.size());
  return file.parent_path() / fmt::format("{}-{}{}", name.substr(0, end), number, name.substr(end));
}

}  // namespace

NewFile::NewFile(const std::string& path, Folders folders, Naming naming)
    : name(path), target(behindLinks(path)), workplace(folderOf(target)), makesFolders(folders == Folders::areMade) {
  if (makesFolders) {
    const auto missing = missingFoldersOf(target);
    if (!missing.empty()) workplace = folderOf(missing.back());
  }
  if (naming == Naming::early || !openUnnamed()) openNamed();
}

NewFile::~NewFile() {
  close(number);
  if (temporary.empty()) return;
  unlink(temporary.c_str());
  forgetIfInterrupted(temporary);
}

/// @return False where that cannot be done; it may still be possible with a name.
bool NewFile::openUnnamed() {
  if (access("/proc/self/fd", X_OK) != 0) return false;  // through which it gets its name in the end
  number = open(workplace.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
  return number >= 0;
}

void NewFile::openNamed() {
  const InterruptionHeld untilItIsKnown;
  temporary = (workplace / ".nivra-XXXXXX").string();
  number = mkostemp(temporary.data(), O_CLOEXEC);
  if (number < 0) {
    const int reason = errno;
    std::error_code ignored;
    if (!fs::exists(target, ignored)) fail(name, reason);
    throw FileError(fmt::format("cannot write {}: no new file can be made beside it to take its place: {}", name,
                                std::generic_category().message(reason)));
  }
  removeIfInterrupted(temporary);
  fchmod(number, permissionsOfNewFiles());
}

void NewFile::publish(bool replaces) {
  const auto missing = makesFolders ? missingFoldersOf(target) : std::vector<fs::path>();
  std::error_code fault;
  if (makesFolders) fs::create_directories(folderOf(target), fault);
  if (fault) throw FileError(fmt::format("cannot make the folder {}: {}", folderOf(target).string(), fault.message()));
  try {
    if (replaces) {
      replace();
    } else if (!putAt(target)) {
      putBeside();
    }
  } catch (const FileError&) {
    for (const fs::path& folder : missing) fs::remove(folder, fault);  // those which are empty
    throw;
  }
  makeLast();
}

/// Where the power fails after this, the file is in its place. Not all file systems can promise that.
void NewFile::makeLast() const {
  const int folder = open(folderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return;
  fsync(folder);
  close(folder);
}

/// @return False if something is there.
bool NewFile::putAt(const fs::path& place) {
  const InterruptionHeld untilItIsDone;
  if (temporary.empty()) {
    const std::string self = fmt::format("/proc/self/fd/{}", number);
    if (linkat(AT_FDCWD, self.c_str(), AT_FDCWD, place.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
    if (errno != EEXIST) fail(name, errno);
    return false;
  }
  if (renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, place.c_str(), RENAME_NOREPLACE) != 0) {
    if (errno == EEXIST) return false;
    if (errno != EINVAL && errno != ENOSYS) fail(name, errno);
    // The file system cannot do that in one step: an empty file keeps the place free of others.
    const int reserved = open(place.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (reserved < 0 && errno == EEXIST) return false;
    if (reserved < 0) fail(name, errno);
    close(reserved);
    if (rename(temporary.c_str(), place.c_str()) != 0) fail(name, errno);
  }
  forgetIfInterrupted(temporary);
  temporary.clear();
  return true;
}

void NewFile::replace() {
  struct stat older {};
  if (stat(target.c_str(), &older) == 0) fchmod(number, older.st_mode & 07777U);
  if (temporary.empty() && putAt(target)) return;

  const InterruptionHeld untilItIsDone;
  std::string passing = temporary;
  if (passing.empty()) {
    int attempt = 0;
    do {
      passing = (folderOf(target) / fmt::format(".nivra-{}-{}", getpid(), ++attempt)).string();
    } while (!putAt(passing));
  }
  if (rename(passing.c_str(), target.c_str()) != 0) {
    const int reason = errno;
    unlink(passing.c_str());
    fail(name, reason);
  }
  if (temporary.empty()) return;
  forgetIfInterrupted(temporary);
  temporary.clear();
}

void NewFile::putBeside() {
  fs::path place;
  int attempt = 1;
  do {
    place = numbered(target, ++attempt);
  } while (!putAt(place));
  throw PlaceTaken(
      fmt::format("cannot write {}: another file has come there meanwhile; this one is now {}", name, place.string()));
}

}  // namespace nivra::hostkit
