#include "hostkit/tracking/resumption.h"

#include <fmt/format.h>

#include <variant>

#include "nivra/stateArchive.h"

namespace nivra::hostkit {

namespace {

constexpr StateKind kRecord = {0x4352564EU, 1, "record"};  // "NVRC"

struct RecordFields {
  StateWriter& archive;

  void operator()(const Frame& frame) const {
    archive(frame.camera, frame.timestamp);
    for (const ObjectDetection& each : frame.detections) {
      archive(each.label, each.score, each.box.left, each.box.top, each.box.right, each.box.bottom);
    }
  }
  void operator()(const CameraMotion& motion) const { archive(motion.camera, motion.matrix); }
  void operator()(const CameraEnd& end) const { archive(end.camera); }
  void operator()(const BadLine& line) const { archive(line.field, line.message); }
};

/// Streams may begin with the same record for another reason, unless it tells when it was.
bool tellsItsTime(const Record& record) {
  const auto* const frame = std::get_if<Frame>(&record);
  return frame != nullptr && frame->timestamp;
}

}  // namespace

bool Resumption::wasAnswered(const Record& record) {
  if (present.records == 0) begin(record);
  present.all = digestBehind(present.all, record);
  ++present.records;
  if (!isRepeated) return false;
  ++passed;
  if (present.records < before.records) return true;
  if (present.all != before.all) {
    throw StateError(fmt::format(
        "stored state of a stream: of an input that began as this one, but was another one within {} records",
        before.records));
  }
  isRepeated = false;
  return true;
}

void Resumption::begin(const Record& record) {
  const std::uint64_t first = digestBehind(0, record);
  isRepeated = before.records > 0 && first == before.first && (inputIsFile || tellsItsTime(record));
  if (!isRepeated && !inputIsFile) present = before;
  if (present.records == 0) present.first = first;
}

std::uint64_t Resumption::digestBehind(std::uint64_t digest, const Record& record) {
  StateWriter archive(bytes, kRecord);
  archive(digest, static_cast<std::uint64_t>(record.index()));
  std::visit(RecordFields{archive}, record);
  return archive.digest();
}

}  // namespace nivra::hostkit
