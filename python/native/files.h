#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "frames.h"
#include "hostkit/formats/format.h"

namespace nivra::python {

/// What callers say of files.
/// @param scores "fraction", "percent" or nothing.
hostkit::ReadSettings readSettingsOf(const PictureSides& picture, const std::optional<double>& frameRate,
                                     std::string label, std::map<std::int64_t, std::string> categories,
                                     const std::optional<std::string>& scores);

void declareFiles(py::module_& module);

}  // namespace nivra::python
