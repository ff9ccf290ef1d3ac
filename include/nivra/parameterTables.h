#pragma once

/// @file
/// Every parameter that a tracker reads: name, default, unit, meaning, which way it pulls, what it may be and usually
/// is.
///
/// Parsing takes its defaults from these tables, so what they say is what happens.

#include <cstddef>
#include <string>
#include <vector>

#include "nivra/export.h"
#include "nivra/parameterMap.h"

namespace nivra {

/// What a value is written as.
enum class ParameterKind {
  number,      ///< 0.5
  count,       ///< A whole number from 0, such as 400000001.
  flag,        ///< 0 or 1.
  numberPair,  ///< 0.1, 0.5
  classList,   ///< Label, number, label, number ...; may be empty.
};

/// How values lie on the way from one end of a range to the other.
enum class ParameterScale {
  linear,       ///< Equal steps count alike.
  logarithmic,  ///< Equal factors count alike.
};

/// Numbers from `least` to `most`, both included.
struct ParameterRange {
  double least;  ///< Its lower end.
  double most;   ///< Its upper end.
};

/// One parameter of a section.
struct ParameterDescription {
  const char* name;          ///< Name without section.
  const char* defaultValue;  ///< Default, as text: it passes through the same conversion as a host's value.
  const char* unit;          ///< Unit of the value; empty for plain numbers.
  const char* meaning;       ///< What the value stands for.
  const char* pull;          ///< What a larger value does.
  ParameterRange range;      ///< What each number of the value may mean; trackers take others for what they are worth.
  ParameterRange usual;      ///< Where good values are found, inside of `range`: what a search goes through.
  ParameterScale scale;      ///< How a search goes through it.
  ParameterKind kind = ParameterKind::number;  ///< A list of classes has no ranges.
};

/// The parameters of one kind of section.
struct ParameterTable {
  const ParameterDescription* first;  ///< They stand side by side.
  std::size_t count;                  ///< How many there are.

  /// The first one.
  const ParameterDescription* begin() const { return first; }
  /// Behind the last one.
  const ParameterDescription* end() const { return first + count; }
};

/// A section and the parameters that it takes.
struct ParameterSection {
  const char* name;             ///< Key prefix, for example "vanilla.kalman".
  const ParameterTable* table;  ///< Sections may share one.
};

/// What is wrong with a parameter.
struct ParameterFault {
  /// What may be wrong.
  enum class Kind {
    unknownSection,   ///< There is no section of this name.
    sectionNotRead,   ///< There is such a section, but this tracker doesn't read it.
    unknownName,      ///< The section has no parameter of this name.
    unreadableValue,  ///< The value is not of the parameter's kind.
    valueOutOfRange,  ///< The value is no number that can be held.
  };

  Kind kind;          ///< What is wrong.
  std::string key;    ///< The offending key, as it was given.
  std::string value;  ///< Its value, likewise.
  std::string text;   ///< A phrase such as "not a number", without key and value.
};

/// The default values of a table, by name.
NIVRA_EXPORT ParameterMap defaultValues(const ParameterTable& table);

/// All sections.
NIVRA_EXPORT std::vector<ParameterSection> parameterSections();

/// Those which a tracker reads, by its selector (see `makeTracker`); none for any other selector.
NIVRA_EXPORT std::vector<ParameterSection> sectionsOf(int selector);

/// What is wrong with a host's parameters, by key, without making a tracker.
///
/// Stricter than `makeTracker`, whose conversions stop at the first character that they don't understand and which
/// takes every number: "0.5x" for 0.5, and a share of -1.
NIVRA_EXPORT std::vector<ParameterFault> checkParameters(int selector, const ParameterMap& params);

NIVRA_EXPORT extern const ParameterTable kalmanTable;         ///< "vanilla.kalman", "vanillaLowFps.kalman"
NIVRA_EXPORT extern const ParameterTable kalman4DTable;       ///< "reid.kalman4d"
NIVRA_EXPORT extern const ParameterTable vanillaTable;        ///< "vanilla"
NIVRA_EXPORT extern const ParameterTable vanillaLowFpsTable;  ///< "vanillaLowFps"
NIVRA_EXPORT extern const ParameterTable reidTable;           ///< "reid"

}  // namespace nivra
