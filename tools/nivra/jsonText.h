#pragma once

#include <string>
#include <string_view>

namespace nivra::tool {

/// Appends a JSON string. Bytes that are no valid UTF-8 are taken for Latin-1, so that every text can be written.
void appendQuoted(std::string& json, std::string_view text);

/// Appends the shortest number that reads back as the same float; null for what is no finite number.
void appendNumber(std::string& json, float number);

}  // namespace nivra::tool
