#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "hostkit/formats/format.h"
#include "hostkit/formats/identities.h"

namespace nivra::hostkit {

/// Tracks or truth: a file, a sequence folder, or of truth a folder of either. Or what is in memory.
struct IdentityInput {
  std::string path;
  const Format* format = nullptr;                  // told from what the input holds if null
  std::vector<IdentifiedSequence> sequences = {};  // in memory; then there is no path

  bool isGiven() const { return !path.empty() || !sequences.empty(); }
};

/// @throws FileError when the input cannot be read, or has no identities.
std::vector<IdentifiedSequence> readIdentities(const IdentityInput& input, const ReadSettings& settings);

/// The files of a folder by the names of their sequences; folders that are no sequences, and files of no format, are
/// passed over.
/// @throws FileError when the folder cannot be read, or two of them have one name.
std::map<std::string, std::filesystem::path> sequencesIn(const std::filesystem::path& folder);

/// The truth of one sequence, which may be still to be read.
struct TruthSource {
  std::string name;
  std::string path;  // empty when it has been read
  IdentifiedSequence sequence = {};

  /// Reads it, unless that has been done.
  /// @throws FileError when it cannot be read, or holds several cameras.
  void read(const Format* format, const ReadSettings& settings);
};

/// @throws FileError when there is none, or it cannot be read.
std::vector<TruthSource> findTruths(const IdentityInput& input, const ReadSettings& settings);

}  // namespace nivra::hostkit
