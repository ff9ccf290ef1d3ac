#pragma once

/// @file
/// Bytes that outlive the process: what trackers store their states by, and hosts what they store beside them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "nivra/export.h"

namespace nivra {

/// Bytes that are no stored state, or none that can be taken up here; the text says why.
class NIVRA_EXPORT StateError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~StateError() override;  // stands in the library, and its table with it
};

/// What a stored state is a state of.
struct StateKind {
  std::uint32_t mark;     ///< Its first four bytes, the lowest one first.
  std::uint32_t version;  ///< The newest there is, from 1. All up to this one can be read.
  const char* name;       ///< As messages call it, such as "tracker".
};

/// @cond
namespace internal {

template <std::size_t Size>
using UnsignedOf = std::conditional_t<
    Size == 1, std::uint8_t,
    std::conditional_t<Size == 2, std::uint16_t, std::conditional_t<Size == 4, std::uint32_t, std::uint64_t>>>;

template <class Value>
inline constexpr bool isNumber = (std::is_arithmetic_v<Value> || std::is_enum_v<Value>)&&!std::is_same_v<Value, bool>;

/// Little-endian, whatever the machine; floats by their bits.
template <class Number>
void encode(Number number, char* target) {
  UnsignedOf<sizeof number> bits;
  std::memcpy(&bits, &number, sizeof number);
  for (std::size_t i = 0; i < sizeof number; ++i) target[i] = static_cast<char>((bits >> (8 * i)) & 0xFFU);
}

template <class Number>
void decode(const char* source, Number& number) {
  std::uint64_t bits = 0;
  for (std::size_t i = sizeof number; i-- > 0;) bits = bits << 8U | static_cast<unsigned char>(source[i]);
  const auto its = static_cast<UnsignedOf<sizeof number>>(bits);
  std::memcpy(&number, &its, sizeof number);
}

}  // namespace internal
/// @endcond

/// Writes a state: a head with mark, version and length, the values that it is handed, and a checksum.
///
/// Values are numbers and enumerations, texts, vectors, arrays, sets, maps and optional ones of them, and objects of
/// classes that a function `template <class Archive> void fields(Archive& archive, Class& object)` in their namespace
/// hands on field by field. `StateReader` calls the same function, so that a class lists its fields once. Fields that
/// came with a later version stand in it behind `if (archive.version() >= 2)`.
class NIVRA_EXPORT StateWriter {
 public:
  /// For `fields` that do more when they read.
  static constexpr bool kReads = false;

  /// @param target Is overwritten, its memory used again; complete after `seal`.
  StateWriter(std::string& target, const StateKind& kind);
  StateWriter(const StateWriter&) = delete;
  StateWriter& operator=(const StateWriter&) = delete;

  /// Ends the state.
  void seal();

  /// The newest.
  std::uint32_t version() const { return kindVersion; }
  /// A number that differs, but for a chance of 2^-64, when anything does that was written so far.
  std::uint64_t digest() const;

  /// Writes values, one after the other.
  template <class... Values>
  void operator()(const Values&... values) {
    (write(values), ...);
  }

  /// The elements of a vector that something else makes and knows; see `StateReader::list`.
  template <class Element, class Append, class Each>
  void list(std::vector<Element>& elements, Append /*append*/, Each each) {
    writeLength(elements.size());
    for (Element& element : elements) each(element);
  }

  /// The first `count` numbers of a vector, as one of so many would be written.
  template <class Number>
  void numbers(const std::vector<Number>& values, std::size_t count) {
    writeNumbers(values.data(), count);
  }
  /// Numbers of no container, likewise.
  template <class Number>
  void writeNumbers(const Number* values, std::size_t count) {
    writeLength(count);
    writeAll(values, count);
  }

  /// A length from 0 to 2^32 - 1.
  /// @throws std::length_error for more.
  void writeLength(std::size_t length);

  /// What must hold of a state that is read; of one that is written, it does.
  void require(bool /*holds*/, const char* /*what*/) {}

 private:
  template <class Number>
  void writeAll(const Number* numbers, std::size_t count) {
    char* const target = room(count * sizeof(Number));
    for (std::size_t i = 0; i < count; ++i) internal::encode(numbers[i], target + i * sizeof(Number));
  }

  template <class Value>
  void write(const Value& value) {
    if constexpr (internal::isNumber<Value>) {
      writeAll(&value, 1);
    } else {
      fields(*this, const_cast<Value&>(value));  // to write changes nothing
    }
  }
  void write(bool value) { write(static_cast<std::uint8_t>(value ? 1 : 0)); }
  void write(const std::string& text) {
    writeLength(text.size());
    text.copy(room(text.size()), text.size());
  }
  template <class Value>
  void write(const std::vector<Value>& values) {
    if constexpr (internal::isNumber<Value>) {
      writeNumbers(values.data(), values.size());
    } else {
      writeElements(values);
    }
  }
  template <class Value, std::size_t Size>
  void write(const std::array<Value, Size>& values) {
    if constexpr (internal::isNumber<Value>) {
      writeAll(values.data(), Size);
    } else {
      for (const Value& value : values) write(value);
    }
  }
  template <class... Of>
  void write(const std::set<Of...>& values) {
    writeElements(values);
  }
  template <class... Of>
  void write(const std::map<Of...>& entries) {
    writeLength(entries.size());
    for (const auto& [key, value] : entries) operator()(key, value);
  }
  template <class Value>
  void write(const std::optional<Value>& value) {
    write(value.has_value());
    if (value) write(*value);
  }
  template <class Values>
  void writeElements(const Values& values) {
    writeLength(values.size());
    for (const auto& value : values) write(value);
  }

  /// Where the next bytes go.
  char* room(std::size_t count) {
    if (bytes.size() - written < count) grow(count);
    written += count;
    return &bytes[written - count];
  }
  void grow(std::size_t count);

  std::string& bytes;  // longer than what is written, so that most numbers are stored and no more
  std::size_t written = 0;
  std::uint32_t kindVersion;
};

/// Reads what `StateWriter` wrote. Memory grows with the bytes that were read, whatever lengths they announce.
class NIVRA_EXPORT StateReader {
 public:
  /// For `fields` that do more when they read.
  static constexpr bool kReads = true;

  /// @param state Outlives the reader.
  /// @throws StateError when it is no state of this kind, is cut or damaged, or of a later version.
  StateReader(std::string_view state, const StateKind& kind);
  StateReader(const StateReader&) = delete;
  StateReader& operator=(const StateReader&) = delete;

  /// @throws StateError when something is left.
  void finish();

  /// Of the state.
  std::uint32_t version() const { return stateVersion; }
  /// `StateWriter::digest` when as much was written.
  std::uint64_t digest() const;

  /// @throws StateError when the values cannot be those that were written.
  template <class... Values>
  void operator()(Values&... values) {
    (read(values), ...);
  }

  /// @param append Adds an element, whatever its value.
  /// @param each Takes each element, to read its fields.
  template <class Element, class Append, class Each>
  void list(std::vector<Element>& elements, Append append, Each each) {
    elements.clear();
    for (std::size_t left = readLength(); left > 0; --left) {
      append();
      each(elements.back());
    }
  }

  /// All that `StateWriter::numbers` wrote.
  template <class Number>
  void numbers(std::vector<Number>& values, std::size_t /*count*/) {
    read(values);
  }

  /// The length of something whose elements have a byte each at least.
  /// @throws StateError when fewer are left.
  std::size_t readLength();

  /// @throws StateError saying what, unless it holds.
  void require(bool holds, const char* what) {
    if (!holds) fail(std::string("damaged: ") + what);
  }

 private:
  /// The next bytes.
  const char* take(std::size_t count);
  [[noreturn]] void fail(const std::string& what) const;

  template <class Number>
  void readAll(Number* numbers, std::size_t count) {
    const char* const source = take(count * sizeof(Number));
    for (std::size_t i = 0; i < count; ++i) internal::decode(source + i * sizeof(Number), numbers[i]);
  }

  template <class Value>
  void read(Value& value) {
    if constexpr (internal::isNumber<Value>) {
      readAll(&value, 1);
    } else {
      fields(*this, value);
    }
  }
  void read(bool& value) {
    std::uint8_t number = 0;
    read(number);
    require(number <= 1, "something that is neither true nor false");
    value = number == 1;
  }
  void read(std::string& text) {
    const std::size_t length = readLength();
    text.assign(take(length), length);
  }
  template <class Value>
  void read(std::vector<Value>& values) {
    if constexpr (internal::isNumber<Value>) {
      const std::size_t length = readLength();
      require(length <= left() / sizeof(Value), "a list longer than the rest");
      values.resize(length);
      readAll(values.data(), length);
    } else {
      list(
          values, [&values] { values.emplace_back(); }, [this](Value& value) { read(value); });
    }
  }
  template <class Value, std::size_t Size>
  void read(std::array<Value, Size>& values) {
    if constexpr (internal::isNumber<Value>) {
      readAll(values.data(), Size);
    } else {
      for (Value& value : values) read(value);
    }
  }
  template <class Value, class... Of>
  void read(std::set<Value, Of...>& values) {
    values.clear();
    for (std::size_t left = readLength(); left > 0; --left) {
      Value value;
      read(value);
      requireAscending(values, value);
      values.insert(values.end(), std::move(value));
    }
  }
  template <class Key, class Value, class... Of>
  void read(std::map<Key, Value, Of...>& entries) {
    entries.clear();
    for (std::size_t left = readLength(); left > 0; --left) {
      Key key;
      read(key);
      requireAscending(entries, key);
      read(entries.emplace_hint(entries.end(), std::move(key), Value())->second);
    }
  }
  template <class Value>
  void read(std::optional<Value>& value) {
    bool isThere = false;
    read(isThere);
    value.reset();
    if (isThere) read(value.emplace());
  }
  template <class Sorted, class Key>
  void requireAscending(const Sorted& sorted, const Key& following) {
    require(sorted.lower_bound(following) == sorted.end(), "entries that don't ascend");
  }

  std::size_t left() const { return static_cast<std::size_t>(bodyEnd - next); }

  const char* kindName;
  std::uint32_t stateVersion = 0;
  const char* body = nullptr;
  const char* next = nullptr;
  const char* bodyEnd = nullptr;
};

}  // namespace nivra
