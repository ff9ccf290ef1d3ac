#pragma once

#include <cstdint>
#include <string>

#include "hostkit/formats/frame.h"

namespace nivra::hostkit {

/// How far an input has been answered, and what it was.
struct InputPosition {
  std::uint64_t records = 0;  // answered
  std::uint64_t first = 0;    // digest of the first of them
  std::uint64_t all = 0;      // of them all
};

template <class Archive>
void fields(Archive& archive, InputPosition& position) {
  archive(position.records, position.first, position.all);
}

/// Tells the records of an input that were answered in an earlier run, where the input is given again from its
/// beginning: then its first record is the same. Any other first record begins another file, or goes on with a stream.
class Resumption {
 public:
  /// @param isFile Whether the input is there from its beginning.
  Resumption(const InputPosition& answeredBefore, bool isFile) : before(answeredBefore), inputIsFile(isFile) {}

  /// Takes the next record as it was read.
  /// @throws StateError when the records that were answered before aren't those.
  bool wasAnswered(const Record& record);

  /// Behind the records that have been answered.
  const InputPosition& position() const { return isRepeated ? before : present; }
  /// How many records were answered before.
  std::uint64_t passedOver() const { return passed; }

 private:
  void begin(const Record& record);
  std::uint64_t digestBehind(std::uint64_t digest, const Record& record);

  InputPosition before;
  InputPosition present;
  bool inputIsFile;
  bool isRepeated = true;  // as far as is known
  std::uint64_t passed = 0;
  std::string bytes;  // kept for its memory alone
};

}  // namespace nivra::hostkit
