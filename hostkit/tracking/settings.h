#pragma once

#include <string>
#include <vector>

namespace nivra::hostkit {

/// A parameter's value, and where it was given.
struct Setting {
  std::string key;  // section.name
  std::string value;
  std::string file = {};  // empty for an argument of --param
  int line = 0;
};

/// Stops with a UsageError for an argument of --param, and with a FileError for a line of a file.
[[noreturn]] void failAt(const Setting& setting, const std::string& what);

/// The settings of these files one after the other, and then those of the arguments, so that the last one holds.
/// @param files Arguments of --params: lines "section.name = value", which may end in " # comment".
/// @param arguments Those of --param: "section.name=value".
/// @throws UsageError, FileError naming the place of what is no setting.
std::vector<Setting> collectSettings(const std::vector<std::string>& files, const std::vector<std::string>& arguments);

}  // namespace nivra::hostkit
