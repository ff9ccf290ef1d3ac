#include "hostkit/formats/identities.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/textFile.h"

namespace nivra::hostkit {

void requireFramesWithin(const IdentifiedSequence& sequence, int lastFrame) {
  for (const IdentifiedRow& each : sequence.rows) {
    if (each.frame <= lastFrame) continue;
    if (sequence.file.empty()) {
      throw FileError(fmt::format("the truth has {} frames, but there are tracks in frame {}", lastFrame, each.frame));
    }
    failAt(sequence.file, each.line, "frame", fmt::format("frame {} of a sequence that has {}", each.frame, lastFrame));
  }
}

int IdentifiedSequence::placeOf(const std::string& label) {
  const auto [place, isNew] = places.emplace(label, static_cast<int>(labels.size()));
  if (isNew) labels.push_back(label);
  return place->second;
}

namespace {

/// Rows are large, so it is their frames and places that are sorted.
void sortByFrame(std::vector<IdentifiedRow>& rows) {
  std::vector<std::pair<int, std::size_t>> order;
  order.reserve(rows.size());
  for (const IdentifiedRow& each : rows) order.emplace_back(each.frame, order.size());
  std::sort(order.begin(), order.end());
  std::vector<IdentifiedRow> sorted;
  sorted.reserve(rows.size());
  for (const auto& [frame, place] : order) sorted.push_back(rows[place]);
  rows = std::move(sorted);
}

}  // namespace

IdentifiedRow rowOf(const TrackedObjectDetection& track, int frame, const std::optional<PictureSize>& picture) {
  const Box& box = track.box;
  IdentifiedRow row;
  row.frame = frame;
  row.identified.box = picture
                           ? toPixels(box, *picture)
                           : PixelBox{box.left, -box.top, double{box.right} - box.left, double{box.top} - box.bottom};
  row.identified.identity = track.id;
  row.score = track.score;
  row.confident = track.confident;
  return row;
}

void finishIdentities(IdentifiedSequence& sequence) {
  if (sequence.frameCount > 0) requireFramesWithin(sequence, sequence.frameCount);
  sortByFrame(sequence.rows);
  std::unordered_set<std::int64_t> seen;
  int frame = 0;
  for (const IdentifiedRow& each : sequence.rows) {
    if (each.frame != frame) seen.clear();
    frame = each.frame;
    if (seen.insert(each.identified.identity).second) continue;
    failAt(sequence.file, each.line, "id",
           fmt::format("identity {} is twice in frame {}", each.identified.identity, each.frame));
  }
}

}  // namespace nivra::hostkit
