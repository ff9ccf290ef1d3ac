#pragma once

#include <functional>
#include <optional>

#include "hostkit/tuning/searchSpace.h"

namespace nivra::hostkit {

/// Goes uphill from a point, without derivatives, until the steps are too small to matter. The same calls get the same
/// answers.
/// @param heightAt Takes note of what it is asked; nothing ends the search, and what it throws is thrown on.
void goUphill(const SearchPoint& start, const std::function<std::optional<double>(const SearchPoint&)>& heightAt);

}  // namespace nivra::hostkit
