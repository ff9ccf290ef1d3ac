#pragma once

#include <simdjson.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

namespace dom = simdjson::dom;

/// Where a value stands, outermost last; spelt out when something is wrong there.
class JsonPlace {
 public:
  JsonPlace() = default;
  JsonPlace(const JsonPlace& outerPlace, std::string_view fieldName) : outer(&outerPlace), field(fieldName) {}
  JsonPlace(const JsonPlace& outerPlace, std::size_t position) : outer(&outerPlace), index(position) {}

  /// For example "detections[3].box[2]"; empty for the outermost place.
  std::string text() const;

 private:
  const JsonPlace* outer = nullptr;
  std::string_view field;  // empty for an element of an array
  std::size_t index = 0;
};

/// A value that cannot be used.
struct JsonFault {
  std::string field;
  std::string message;
};

[[noreturn]] void refuse(const JsonPlace& place, std::string message);

/// Stops with "expected <what>, found a string" or the like.
[[noreturn]] void refuse(const JsonPlace& place, std::string_view expected, dom::element found);

/// Why a text could not be parsed; what other languages take for numbers and the like is called by its name.
std::string explainBadJson(std::string_view text, simdjson::error_code fault);

/// Hands out what a file holds that is one value of JSON.
/// @param format What it is read as, for complaints.
/// @throws FileError when it cannot be read or is none, and naming the place of a JsonFault that `read` stops with.
void readJsonFile(const std::string& path, const char* format, const std::function<void(dom::element whole)>& read);

/// Whether that is the first character which counts in JSON.
bool beginsWith(char mark, std::string_view text);

/// The fields of the first object in a text, which may break off.
std::vector<std::string_view> keysOfFirstObject(std::string_view text);

bool hasAnyOf(const std::vector<std::string_view>& keys, std::initializer_list<std::string_view> wanted);

std::string_view stringOf(dom::element value, const JsonPlace& place);
dom::array arrayOf(dom::element value, const JsonPlace& place);
dom::object objectOf(dom::element value, const JsonPlace& place);
bool boolOf(dom::element value, const JsonPlace& place);

/// A number of the range; whole if the range is one of whole numbers.
template <class Number>
Number numberOf(dom::element value, Range<Number> range, const JsonPlace& place) {
  using Parsed = std::conditional_t<std::is_floating_point_v<Number>, double,
                                    std::conditional_t<std::is_signed_v<Number>, std::int64_t, std::uint64_t>>;
  Parsed number{};
  const bool isNumber = value.get(number) == simdjson::SUCCESS;
  // The shortest decimals of the largest float are a little more than it is, before they are rounded to it.
  const auto compared = static_cast<std::conditional_t<std::is_floating_point_v<Number>, Number, Parsed>>(number);
  if (!isNumber || !(compared >= range.least && compared <= range.most)) refuse(place, expectation(range), value);
  return static_cast<Number>(number);
}

/// Exactly as many numbers as the array has elements.
template <class Number, std::size_t size>
std::array<Number, size> numbersOf(dom::element value, Range<Number> range, const JsonPlace& place) {
  std::array<Number, size> numbers{};
  const dom::array elements = arrayOf(value, place);
  if (elements.size() != size) {
    refuse(place, "expected " + std::to_string(size) + " numbers, found " + std::to_string(elements.size()));
  }
  std::size_t i = 0;
  for (const dom::element each : elements) {
    numbers[i] = numberOf(each, range, JsonPlace(place, i));
    ++i;
  }
  return numbers;
}

/// A field that objects of some kind may have, and how its value gets into a `Target`.
template <class Target>
struct JsonField {
  std::string_view name;
  void (*read)(dom::element value, const JsonPlace& place, Target& target);
};

/// For a table's number that goes to a member of its target as it is.
template <auto member, const auto& range, class Target>
void readNumber(dom::element value, const JsonPlace& place, Target& target) {
  target.*member = numberOf(value, range, place);
}

/// Reads the fields of an object that the table knows. Null counts as absent.
/// @param passOver Takes the names of all others.
/// @return Whether the object has any of the fields.
template <class Target, std::size_t count, class PassOver>
bool readFields(dom::object object, const JsonPlace& place, const std::array<JsonField<Target>, count>& fields,
                Target& target, PassOver passOver) {
  std::array<bool, count> given{};
  bool anyGiven = false;
  for (const auto [name, value] : object) {
    std::size_t i = 0;
    while (i < count && name != fields[i].name) ++i;
    if (i == count) {
      passOver(name);
      continue;
    }
    const JsonPlace here(place, name);
    if (given[i]) refuse(here, "given twice");
    given[i] = anyGiven = true;
    if (!value.is_null()) fields[i].read(value, here, target);
  }
  return anyGiven;
}

template <class Target, std::size_t count>
bool readFields(dom::object object, const JsonPlace& place, const std::array<JsonField<Target>, count>& fields,
                Target& target) {
  return readFields(object, place, fields, target, [](std::string_view) {});
}

/// Reads an array of objects, each of which `take` gets with its place.
template <class Element, std::size_t count, class Take>
void readEach(dom::element list, const JsonPlace& place, const std::array<JsonField<Element>, count>& fields,
              Take take) {
  std::size_t index = 0;
  for (const dom::element each : arrayOf(list, place)) {
    const JsonPlace here(place, index++);
    Element element;
    readFields(objectOf(each, here), here, fields, element);
    take(std::move(element), here);
  }
}

}  // namespace nivra::hostkit
