#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nivra::hostkit {

/// "; did you mean <word>?" with the known word that a mistyped one is nearest to; empty if none is near.
std::string suggestionFor(std::string_view mistyped, const std::vector<std::string>& known);

}  // namespace nivra::hostkit
