#include "hostkit/formats/formats.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/cocoResults.h"
#include "hostkit/formats/csv.h"
#include "hostkit/formats/frameFiles.h"
#include "hostkit/formats/frameResults.h"
#include "hostkit/formats/jsonLines.h"
#include "hostkit/formats/kitti.h"
#include "hostkit/formats/motChallenge.h"
#include "hostkit/formats/yolo.h"

namespace nivra::hostkit {

namespace {

constexpr std::size_t kBeginning = 4096;  // bytes that tell a format

/// What none takes for its own is left to the reader of sequence folders, which says what it expects.
const Format& formatOfFolder(const std::string& path) {
  if (isSequenceFolder(path)) return kMotChallenge;
  for (const Format* const each : formats()) {
    if (each->frameExtension.empty()) continue;
    const std::string beginning = beginningOfFrames(path, each->frameExtension, kBeginning);
    if (!beginning.empty() && each->recognises(beginning)) return *each;
  }
  return kMotChallenge;
}

}  // namespace

const std::vector<const Format*>& formats() {
  static const std::vector<const Format*> all = {&kJsonLines, &kMotChallenge, &kCocoResults, &kYolo,
                                                 &kKitti,     &kCsv,          &kFrameResults};
  return all;
}

std::string formatNames() {
  std::string names;
  for (const Format* const each : formats()) {
    const char* const joint = names.empty() ? "" : each == formats().back() ? " or " : ", ";
    names += fmt::format("{}{}", joint, each->name);
  }
  return names;
}

const Format& formatNamed(const std::string& option, const std::string& name) {
  for (const Format* const each : formats()) {
    if (name == each->name) return *each;
  }
  throw UsageError(fmt::format("{} {}: expected {}", option, name, formatNames()));
}

const Format& detectionFormatNamed(const std::string& option, const std::string& name) {
  const Format& format = formatNamed(option, name);
  if (format.writeDetections == nullptr)
    throw UsageError(fmt::format("{} {}: detections are not written in it", option, name));
  return format;
}

const Format* formatLooking(std::string_view beginning) {
  const auto& all = formats();
  const auto found =
      std::find_if(all.rbegin(), all.rend(), [&](const Format* each) { return each->recognises(beginning); });
  return found == all.rend() ? nullptr : *found;
}

const Format& recogniseFormat(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return formatOfFolder(path);
  if (!isRegularFile(path) && (path == kStandardInput || std::filesystem::exists(path, ignored))) return kJsonLines;

  if (const Format* const found = formatLooking(readFile(path, kBeginning))) return *found;
  // Its own reader can tell best what is wrong with it.
  if (const Format* const supposed = formatOfFileName(path)) return *supposed;
  throw FileError(fmt::format("{} is of no known format; --from says which one it is", path));
}

bool holdsTracks(const std::string& path, const Format& format) {
  return format.holdsIdentities != nullptr && isRegularFile(path) && format.holdsIdentities(readFile(path, kBeginning));
}

const Format* formatOfFileName(const std::string& path) {
  std::filesystem::path name = path;
  if (name.extension() == ".gz") name = name.stem();
  for (const Format* const each : formats()) {
    const auto& known = each->extensions;
    if (std::find(known.begin(), known.end(), name.extension().string()) != known.end()) return each;
  }
  return nullptr;
}

}  // namespace nivra::hostkit
