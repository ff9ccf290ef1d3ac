#include "hostkit/evaluation/inputs.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/formats.h"
#include "hostkit/formats/motChallenge.h"

namespace nivra::hostkit {

namespace fs = std::filesystem;

namespace {

const Format* formatOfTruth(const std::string& path, const Format* format) {
  return truthFileOf(path) ? &kMotChallenge : format;
}

}  // namespace

std::vector<IdentifiedSequence> readIdentities(const IdentityInput& input, const ReadSettings& settings) {
  const auto& [path, format, sequences] = input;
  if (!sequences.empty()) return sequences;
  const Format& known = format != nullptr ? *format : recogniseFormat(path);
  if (known.readIdentities == nullptr) {
    throw FileError(fmt::format("{} is read as {}, which has no identities", shownName(path), known.name));
  }
  return known.readIdentities(path, settings);
}

std::map<std::string, fs::path> sequencesIn(const fs::path& folder) {
  std::map<std::string, fs::path> found;
  std::error_code fault;
  for (fs::directory_iterator entry(folder, fault), end; !fault && entry != end; entry.increment(fault)) {
    const fs::path& path = entry->path();
    const bool isFile = isRegularFile(path.string());
    const bool isSequence = isFile ? formatOfFileName(path.string()) != nullptr : truthFileOf(path).has_value();
    if (!isSequence || path.filename().string().front() == '.') continue;
    const auto [other, isNew] = found.emplace(nameOf(path), path);
    if (!isNew) {
      const auto& [first, second] = std::minmax(other->second, path);
      throw FileError(fmt::format("{} and {} are both called {}", first.string(), second.string(), other->first));
    }
  }
  if (fault) throw FileError(fmt::format("{}: {}", folder.string(), fault.message()));
  return found;
}

void TruthSource::read(const Format* format, const ReadSettings& settings) {
  if (path.empty()) return;
  auto all = readIdentities({path, formatOfTruth(path, format)}, settings);
  if (all.size() > 1) throw FileError(fmt::format("{} holds several cameras", path));
  if (!all.empty()) sequence = std::move(all.front());
  path.clear();
}

std::vector<TruthSource> findTruths(const IdentityInput& input, const ReadSettings& settings) {
  const auto& [path, format, sequences] = input;
  std::vector<TruthSource> truths;
  std::error_code ignored;
  if (sequences.empty() && fs::is_directory(path, ignored) && !truthFileOf(path)) {
    for (const auto& [name, place] : sequencesIn(path)) truths.push_back({name, place.string()});
    if (truths.empty())
      throw FileError(fmt::format("no truth in {}: neither sequence folders with gt/gt.txt nor files", path));
  } else {
    for (IdentifiedSequence& each : readIdentities({path, formatOfTruth(path, format), sequences}, settings)) {
      truths.push_back({each.name, "", std::move(each)});
    }
  }
  return truths;
}

}  // namespace nivra::hostkit
