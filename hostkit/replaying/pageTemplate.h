#pragma once

#include <array>
#include <string_view>

namespace nivra::hostkit {

/// The page as page/build.py makes it, with marks where a recording and what it may load go.
extern const std::string_view kPageTemplate;

/// The page's colours of identities for a light background, such as "#000000".
extern const std::array<std::string_view, 8> kPalette;

}  // namespace nivra::hostkit
