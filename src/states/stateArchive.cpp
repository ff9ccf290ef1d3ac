#include "nivra/stateArchive.h"

#include <algorithm>
#include <limits>

#include "states/checksum.h"

namespace nivra {

namespace {

// A state's head: mark, version, and the length of its body. Behind the body comes the checksum of both.
constexpr std::size_t kVersionPlace = 4;
constexpr std::size_t kLengthPlace = 8;
constexpr std::size_t kHeadLength = 16;
constexpr std::size_t kChecksumLength = 8;

template <class Number>
Number numberAt(std::string_view bytes, std::size_t place) {
  Number number = 0;
  internal::decode(bytes.data() + place, number);
  return number;
}

}  // namespace

StateError::~StateError() = default;

StateWriter::StateWriter(std::string& target, const StateKind& kind) : bytes(target), kindVersion(kind.version) {
  constexpr std::uint64_t kNotYetKnown = 0;
  operator()(kind.mark, kind.version, kNotYetKnown);
}

void StateWriter::seal() {
  internal::encode(std::uint64_t{written - kHeadLength}, &bytes[kLengthPlace]);
  write(checksumOf({bytes.data(), written}));
  bytes.resize(written);
}

std::uint64_t StateWriter::digest() const { return checksumOf({&bytes[kHeadLength], written - kHeadLength}); }

void StateWriter::grow(std::size_t count) { bytes.resize(std::max(2 * bytes.size(), written + count)); }

void StateWriter::writeLength(std::size_t length) {
  if (length > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("too long for a stored state");
  write(static_cast<std::uint32_t>(length));
}

StateReader::StateReader(std::string_view state, const StateKind& kind) : kindName(kind.name) {
  if (state.size() < kVersionPlace || numberAt<std::uint32_t>(state, 0) != kind.mark) fail("these bytes are none");
  if (state.size() < kHeadLength + kChecksumLength) fail("cut within its head");
  stateVersion = numberAt<std::uint32_t>(state, kVersionPlace);
  if (stateVersion > kind.version) {
    fail("of a later version, " + std::to_string(stateVersion) + ", than " + std::to_string(kind.version) +
         ", the newest known here");
  }
  const auto length = numberAt<std::uint64_t>(state, kLengthPlace);
  const std::size_t present = state.size() - kHeadLength - kChecksumLength;
  if (present < length) fail("cut: " + std::to_string(length - present) + " bytes are missing");
  const std::string_view covered = state.substr(0, state.size() - kChecksumLength);
  if (present > length || stateVersion == 0 || numberAt<std::uint64_t>(state, covered.size()) != checksumOf(covered)) {
    fail("damaged");
  }
  body = next = state.data() + kHeadLength;
  bodyEnd = body + present;
}

void StateReader::finish() {
  if (left() > 0) fail("damaged: more than belongs to it");
}

std::uint64_t StateReader::digest() const { return checksumOf({body, static_cast<std::size_t>(next - body)}); }

std::size_t StateReader::readLength() {
  std::uint32_t length = 0;
  read(length);
  if (length > left()) fail("damaged: a list longer than the rest");
  return length;
}

const char* StateReader::take(std::size_t count) {
  if (count > left()) fail("damaged: it ends too early");
  const char* const taken = next;
  next += count;
  return taken;
}

void StateReader::fail(const std::string& what) const {
  throw StateError("stored state of a " + std::string(kindName) + ": " + what);
}

}  // namespace nivra
