#include "hostkit/tuning/inputs.h"

#include <fmt/format.h>

#include <cstddef>
#include <filesystem>
#include <map>
#include <system_error>

#include "hostkit/errors.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/motChallenge.h"

namespace nivra::hostkit {

namespace {

namespace fs = std::filesystem;

/// The inputs, with the sequence folders in the place of a folder that holds some.
std::vector<std::string> sequencesOf(const std::vector<std::string>& inputs) {
  std::vector<std::string> all;
  for (const std::string& input : inputs) {
    std::error_code ignored;
    std::vector<std::string> inside;
    if (fs::is_directory(input, ignored) && !isSequenceFolder(input)) {
      for (const auto& [name, path] : sequencesIn(input)) {
        if (isSequenceFolder(path.string())) inside.push_back(path.string());
      }
    }
    if (inside.empty()) inside.push_back(input);
    all.insert(all.end(), inside.begin(), inside.end());
  }
  return all;
}

/// Where the truth about an input is.
class Truths {
 public:
  /// @param truth Empty if the inputs are to hold it.
  Truths(const std::string& truth, std::size_t inputCount) : given(truth) {
    std::error_code ignored;
    isFolder = fs::is_directory(given, ignored) && !truthFileOf(given);
    if (isFolder) files = sequencesIn(given);
    if (!given.empty() && !isFolder && inputCount > 1) {
      throw UsageError(fmt::format("--truth {}: of several inputs, a folder with the truth of each", given));
    }
  }

  std::string of(const std::string& input) const {
    if (given.empty()) {
      if (!truthFileOf(input)) throw FileError(fmt::format("no gt/gt.txt in {}; --truth tells what is true", input));
      return input;
    }
    if (!isFolder) return given;
    const auto found = files.find(nameOf(input));
    if (found == files.end()) throw FileError(fmt::format("no truth of {} in {}", nameOf(input), given));
    return found->second.string();
  }

 private:
  std::string given;
  bool isFolder = false;
  std::map<std::string, fs::path> files;
};

}  // namespace

std::vector<TunedInput> tunedInputs(const std::vector<std::string>& inputs, const IdentityInput& truth,
                                    const std::function<const Format*(const std::string& input)>& formatOf) {
  const std::vector<std::string> sequences = sequencesOf(inputs);
  const Truths truths(truth.path, sequences.size());
  std::vector<TunedInput> all;
  for (const std::string& path : sequences) all.push_back({{path, formatOf(path)}, {truths.of(path), truth.format}});
  return all;
}

}  // namespace nivra::hostkit
