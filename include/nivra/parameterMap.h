#pragma once

/// @file
/// Textual parameters: how the host's map is merged over defaults, consumed and checked for leftovers.
///
/// A key is a section, "." and a name: "vanilla.scoreAbsorption", "vanilla.kalman.processNoiseVariance".
/// A section may hold dots, a name may not. Values are converted with the standard conversions, which
/// follow the process's C locale: keep LC_NUMERIC at "C" while a tracker is made.

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "nivra/export.h"

namespace nivra {

/// Key to textual value.
using ParameterMap = std::map<std::string, std::string>;

/// Whether `key` is a parameter of the section `prefix` itself, and not of a section nested in it.
///
/// Any one character after the prefix counts as the separator.
NIVRA_EXPORT bool matches(const std::string& key, const std::string& prefix);

/// Merges one section of `params` over its defaults and erases the keys that it used.
///
/// @param defaults Default values by name, without section.
/// @param params The host's parameters; matching entries are consumed.
/// @param prefix The section.
/// @return `defaults` with the host's values in place.
/// @throws std::out_of_range "Bad parameter: <name>" for a name that has no default.
NIVRA_EXPORT ParameterMap updateParams(ParameterMap defaults, ParameterMap& params, const std::string& prefix);

/// `s` without the white space at its ends.
NIVRA_EXPORT std::string trim(std::string s);

/// Cuts `s` at every `delimiter` (which must not be empty) and trims the pieces, all but the last.
///
/// "a, b ,c" gives "a", "b", "c"; "a," gives "a", ""; "" gives no piece at all.
NIVRA_EXPORT std::vector<std::string> split(const std::string& s, const std::string& delimiter);

/// Parses a whole parameter map and refuses what is left over.
///
/// @param params The host's parameters; `parse` erases every key that it uses.
/// @param parse The parse function of a tracker variant.
/// @param aspectRatio Picture width divided by picture height, handed to `parse`.
/// @return What `parse` returned.
/// @throws std::invalid_argument "Unused tracker parameters: <key>=<value> ..." when keys are left, and
///   whatever `parse` throws.
template <class F>
auto parseParameters(ParameterMap& params, F parse, float aspectRatio) {
  auto result = parse(params, aspectRatio);
  if (params.empty()) return result;

  std::string message = "Unused tracker parameters: ";
  for (const auto& [key, value] : params) message += key + "=" + value + " ";
  throw std::invalid_argument(message);
}

}  // namespace nivra
