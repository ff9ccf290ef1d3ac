#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "hostkit/text/textBuffer.h"

namespace nivra::hostkit {

/// Appends bytes in the base64 of RFC 4648, with padding.
void appendBase64(TextBuffer& text, std::string_view bytes);

/// How many bytes a text in the base64 of RFC 4648 stands for, with padding or without; nothing if it has not the
/// length of any.
std::optional<std::size_t> sizeFromBase64(std::string_view text);

/// Decodes a text that has such a length.
/// @param bytes Takes as many as `sizeFromBase64` says.
/// @return Where the first character stands that belongs to no base64, or that has bits for which there is no byte;
/// nothing if all is well.
std::optional<std::size_t> decodeBase64(std::string_view text, char* bytes);

}  // namespace nivra::hostkit
