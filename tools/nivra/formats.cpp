#include "formats.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "byteSource.h"
#include "cocoResults.h"
#include "errors.h"
#include "jsonLines.h"
#include "motChallenge.h"
#include "textFile.h"

namespace nivra::tool {

const std::vector<const Format*>& formats() {
  static const std::vector<const Format*> all = {&kJsonLines, &kMotChallenge, &kCocoResults};
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
  if (format.writeDetections == nullptr) throw UsageError(fmt::format("{} {}: is only read", option, name));
  return format;
}

const Format& recogniseFormat(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return kMotChallenge;
  if (!isRegularFile(path) && (path == kStandardInput || std::filesystem::exists(path, ignored))) return kJsonLines;

  const std::string beginning = readFile(path, 4096);
  for (const Format* const each : formats()) {
    if (each->recognises(beginning)) return *each;
  }
  // Its own reader can tell best what is wrong with it.
  if (const Format* const supposed = formatOfFileName(path)) return *supposed;
  throw FileError(fmt::format("{} is of no known format; --from says which one it is", path));
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

}  // namespace nivra::tool
