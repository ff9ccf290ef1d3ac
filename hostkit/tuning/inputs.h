#pragma once

#include <functional>
#include <string>
#include <vector>

#include "hostkit/tuning/tunedSequence.h"

namespace nivra::hostkit {

/// Each input with its truth.
/// @param inputs Files, sequence folders, or folders of these, which stand for the sequence folders in them.
/// @param truth Nothing if the inputs hold it; of several inputs a folder with that of each, named after it.
/// @param formatOf The format of an input.
/// @throws UsageError, FileError where there is no truth of an input.
std::vector<TunedInput> tunedInputs(const std::vector<std::string>& inputs, const IdentityInput& truth,
                                    const std::function<const Format*(const std::string& input)>& formatOf);

}  // namespace nivra::hostkit
