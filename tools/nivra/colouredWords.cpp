#include "colouredWords.h"

#include <cstdlib>
#include <string_view>

namespace nivra::tool {

namespace {

struct Word {
  std::string_view text;
  std::string_view colour;
};

constexpr Word kWords[] = {{"error:", "\x1b[1;31m"}, {"warning:", "\x1b[1;33m"}};
constexpr std::string_view kPlain = "\x1b[m";

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

bool ColouredWords::areWanted() { return variable("NO_COLOR").empty() && variable("TERM") != "dumb"; }

ColouredWords::int_type ColouredWords::overflow(int_type letter) {
  if (traits_type::eq_int_type(letter, traits_type::eof())) return traits_type::not_eof(letter);
  pending.push_back(traits_type::to_char_type(letter));
  return pending.back() != '\n' || passOn() ? letter : traits_type::eof();
}

int ColouredWords::sync() { return passOn() ? terminal.pubsync() : -1; }

bool ColouredWords::passOn() {
  if (pending.empty()) return true;
  std::string text;
  std::string_view rest = pending;
  for (const Word& word : kWords) {
    if (!isAtLineStart || rest.substr(0, word.text.size()) != word.text) continue;
    text.append(word.colour).append(word.text).append(kPlain);
    rest.remove_prefix(word.text.size());
    break;
  }
  text += rest;
  isAtLineStart = text.back() == '\n' || text.back() == '\r';
  pending.clear();
  const auto size = static_cast<std::streamsize>(text.size());
  return terminal.sputn(text.data(), size) == size;
}

}  // namespace nivra::tool
