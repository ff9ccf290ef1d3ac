#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "nivra/nivra.h"

namespace nivra::hostkit {

/// A place in the search: a number from 0 to 1 for each dimension.
using SearchPoint = std::vector<double>;

/// The parameters that a search may change, each within what is usual for it and on its own scale. A pair of numbers
/// has two dimensions.
class SearchSpace {
 public:
  /// @param option Its name in complaints.
  /// @param choice Keys and sections, of which a section stands for all that it has itself; all that presets set if
  ///   empty.
  /// @throws UsageError for what the tracker doesn't read or has no range.
  SearchSpace(int selector, const std::string& option, const std::vector<std::string>& choice);

  std::size_t dimensions() const { return dimensionCount; }
  const std::vector<std::string>& keys() const { return names; }
  std::string defaultOf(const std::string& key) const;

  /// Where these values lie, and defaults for the others; those beyond what is usual at its end.
  SearchPoint pointOf(const ParameterMap& values) const;

  /// The values at a point, with two digits, as far as they aren't the defaults.
  ParameterMap valuesAt(const SearchPoint& point) const;

 private:
  struct Dimensions {
    const ParameterDescription* parameter;
    std::size_t count;  // numbers that the value holds
  };

  std::vector<std::string> names;
  std::vector<Dimensions> parameters;
  std::size_t dimensionCount = 0;
};

}  // namespace nivra::hostkit
