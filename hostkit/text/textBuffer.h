#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace nivra::hostkit {

/// A text that grows by many small pieces. A std::string calls a function for each of them, and clears the room that is
/// taken in advance.
class TextBuffer {
 public:
  using value_type = char;

  std::string_view view() const { return {bytes.get(), used}; }
  bool empty() const { return used == 0; }
  void clear() { used = 0; }

  void push_back(char character) {
    *room(1) = character;
    ++used;
  }
  TextBuffer& operator+=(char character) {
    push_back(character);
    return *this;
  }
  TextBuffer& operator+=(std::string_view text) {
    char* const end = room(text.size());
    // Not std::copy, which is a call of a function for all but a few sizes.
    if (!text.empty()) std::memcpy(end, text.data(), text.size());
    used += text.size();
    return *this;
  }

  /// @return The end of the text, behind which so many bytes may be written. They count when `use` takes them in.
  char* room(std::size_t size) {
    if (capacity - used <= size) grow(size);
    return bytes.get() + used;
  }
  /// @param end Of what has been written to the room.
  void use(const char* end) { used = static_cast<std::size_t>(end - bytes.get()); }

 private:
  void grow(std::size_t size) {
    const std::size_t more = std::max(used + size + 1, 2 * capacity);
    std::unique_ptr<char[]> larger(new char[more]);
    std::copy_n(bytes.get(), used, larger.get());
    bytes = std::move(larger);
    capacity = more;
  }

  std::unique_ptr<char[]> bytes;
  std::size_t capacity = 0;
  std::size_t used = 0;
};

}  // namespace nivra::hostkit
