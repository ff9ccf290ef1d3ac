#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "nivra/parameterTables.h"

/// The rows of the parameter tables: what hosts are told of a parameter, and where its value goes.
namespace nivra {

/// Where a value goes in a record.
template <class Record>
struct ParameterTarget {
  ParameterKind kind;
  /// @param merged The section with its defaults filled in, so that every name of the table is present.
  void (*take)(Record& record, const ParameterMap& merged, const char* name);
};

template <class Record>
struct ParameterRow {
  ParameterDescription description;  // its kind is the target's
  ParameterTarget<Record> target;
};

inline void convert(const std::string& text, float& value) { value = std::stof(text); }
inline void convert(const std::string& text, std::uint64_t& value) { value = std::stoull(text); }
inline void convert(const std::string& text, bool& value) { value = std::stoi(text) != 0; }

template <class Value>
constexpr ParameterKind kindOf() {
  if constexpr (std::is_same_v<Value, bool>) return ParameterKind::flag;
  return std::is_same_v<Value, float> ? ParameterKind::number : ParameterKind::count;
}

template <auto member>
struct MemberTraits;

template <class RecordType, class ValueType, ValueType RecordType::*member>
struct MemberTraits<member> {
  using Record = RecordType;
  using Value = ValueType;
};

/// Into a field of the record, or by a path of members into a field of its parts.
template <auto first, auto... further>
constexpr auto into = [] {
  using Record = typename MemberTraits<first>::Record;
  using Field = std::remove_reference_t<decltype(((std::declval<Record&>().*first).* ... .*further))>;
  return ParameterTarget<Record>{kindOf<Field>(), [](Record& record, const ParameterMap& merged, const char* name) {
                                   convert(merged.at(name), ((record.*first).* ... .*further));
                                 }};
}();

/// What hosts see of a table.
template <class Record, std::size_t Count>
constexpr std::array<ParameterDescription, Count> descriptionsOf(const ParameterRow<Record> (&rows)[Count]) {
  std::array<ParameterDescription, Count> descriptions{};
  for (std::size_t i = 0; i < Count; ++i) {
    descriptions[i] = rows[i].description;
    descriptions[i].kind = rows[i].target.kind;
  }
  return descriptions;
}

template <std::size_t Count>
constexpr ParameterTable tableOf(const std::array<ParameterDescription, Count>& descriptions) {
  return {descriptions.data(), Count};
}

template <class Record, std::size_t Count>
void fill(Record& record, const ParameterRow<Record> (&rows)[Count], const ParameterMap& merged) {
  for (const ParameterRow<Record>& row : rows) row.target.take(record, merged, row.description.name);
}

}  // namespace nivra
