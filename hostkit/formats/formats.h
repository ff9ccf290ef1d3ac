#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "hostkit/formats/format.h"

namespace nivra::hostkit {

/// All formats, the more particular ones behind those that take more for theirs.
const std::vector<const Format*>& formats();

/// Their names, such as "a, b or c".
std::string formatNames();

/// @throws UsageError when `option` names none.
const Format& formatNamed(const std::string& option, const std::string& name);

/// A format for detections, likewise.
const Format& detectionFormatNamed(const std::string& option, const std::string& name);

/// The format of which a text looks like the beginning; null if there is none.
const Format* formatLooking(std::string_view beginning);

/// The format of an input, from what it holds. Standard input and pipes, which can't be read twice, are JSON Lines.
/// @throws FileError when the input cannot be read or is of no known format.
const Format& recogniseFormat(const std::string& path);

/// Whether a file holds tracks, and not detections, as far as its beginning tells.
/// @throws FileError when it cannot be read.
bool holdsTracks(const std::string& path, const Format& format);

/// The format whose files have names that end so; null if there is none. An ending ".gz" is passed over.
const Format* formatOfFileName(const std::string& path);

}  // namespace nivra::hostkit
