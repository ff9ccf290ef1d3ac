#pragma once

#include <cstdint>
#include <string>

#include "nivra/parameterMap.h"

/// Readers of one value of a section whose defaults are filled in, so that every name read is present.
namespace nivra {

inline float floatAt(const ParameterMap& merged, const char* name) { return std::stof(merged.at(name)); }
inline std::uint64_t countAt(const ParameterMap& merged, const char* name) { return std::stoull(merged.at(name)); }
inline bool flagAt(const ParameterMap& merged, const char* name) { return std::stoi(merged.at(name)) != 0; }

}  // namespace nivra
