#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "hostkit/formats/format.h"

namespace nivra::hostkit {

using CategoryNames = std::map<std::int64_t, std::string>;

/// Names of numbered categories, from 0: a YAML file's `names:`, which is a list or a map from numbers, or a text file
/// with a name in each line.
/// @throws FileError when the file cannot be read or has no names.
CategoryNames readCategoryNames(const std::filesystem::path& file);

/// Whether a file is called like a list of names, such as classes.txt.
bool isCategoryFile(const std::filesystem::path& file);

/// What a list of names in a folder or beside it says; nothing if there is none.
CategoryNames categoryNamesAround(const std::filesystem::path& folder);

/// The name of a category: what the caller says, or else the input's own list; its number if neither tells.
std::string labelOf(std::int64_t category, const ReadSettings& settings, const CategoryNames& names);

}  // namespace nivra::hostkit
