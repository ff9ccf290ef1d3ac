#pragma once

/// @file
/// Every parameter that a tracker reads: name, default, unit, meaning, which way it pulls and what it may be.
///
/// Parsing takes its defaults from these tables, so what they say is what happens.

#include <array>
#include <cstddef>

#include "nivra/export.h"
#include "nivra/parameterMap.h"

namespace nivra {

/// The values that can be meant, both ends included. Trackers take others as well, for what they are worth.
struct ParameterRange {
  double least;
  double most;
};

/// One parameter of a section.
struct ParameterDescription {
  const char* name;          ///< Name without section.
  const char* defaultValue;  ///< Default, as text: it passes through the same conversion as a host's value.
  const char* unit;          ///< Unit of the value; empty for plain numbers.
  const char* meaning;       ///< What the value stands for.
  const char* pull;          ///< What a larger value does.
  ParameterRange range;      ///< Of each number of the value; 0 to 0 if it isn't one of numbers.
};

/// The parameters of one kind of section.
struct ParameterTable {
  const ParameterDescription* first;
  std::size_t count;

  const ParameterDescription* begin() const { return first; }
  const ParameterDescription* end() const { return first + count; }
};

/// A section and the parameters that it takes.
struct ParameterSection {
  const char* name;             ///< Key prefix, for example "vanilla.kalman".
  const ParameterTable* table;  ///< Sections may share one.
};

/// The default values of a table, by name.
NIVRA_EXPORT ParameterMap defaultValues(const ParameterTable& table);

NIVRA_EXPORT extern const ParameterTable kalmanTable;         ///< "vanilla.kalman", "vanillaLowFps.kalman"
NIVRA_EXPORT extern const ParameterTable kalman4DTable;       ///< "reid.kalman4d"
NIVRA_EXPORT extern const ParameterTable vanillaTable;        ///< "vanilla"
NIVRA_EXPORT extern const ParameterTable vanillaLowFpsTable;  ///< "vanillaLowFps"
NIVRA_EXPORT extern const ParameterTable reidTable;           ///< "reid"

NIVRA_EXPORT extern const std::array<ParameterSection, 6> parameterSections;  ///< All sections.

}  // namespace nivra
