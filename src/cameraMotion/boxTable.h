#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "nivra/objectDetection.h"

namespace nivra {

/// The boxes of a frame as their centres and sizes, each kind together so that one instruction can compare several.
/// Keeps its memory from frame to frame.
class BoxTable {
 public:
  static constexpr std::uint32_t kRowsAtOnce = 16;

  /// @throws std::bad_alloc when memory runs out; the table is empty then.
  void fill(const std::vector<ObjectDetection>& detections);

  /// The row of the detection with this id, or `size()`.
  std::size_t find(std::int32_t id) const;

  std::size_t size() const { return rows; }
  // After the last row, others out of everybody's reach make up a multiple of kRowsAtOnce.
  std::vector<float> x;
  std::vector<float> y;
  std::vector<float> width;
  std::vector<float> height;

  /// What a stored state holds: where the boxes of a frame before were, and which detections had them.
  template <class Archive>
  friend void fields(Archive& archive, BoxTable& table) {
    archive.numbers(table.ids, table.rows);
    archive.numbers(table.x, table.rows);
    archive.numbers(table.y, table.rows);
    archive.require(table.ids.size() == table.x.size() && table.x.size() == table.y.size(), "boxes that aren't whole");
    if constexpr (Archive::kReads) table.begin(table.ids.size());
  }

 private:
  void begin(std::size_t count);

  std::vector<std::int32_t> ids;
  std::size_t rows = 0;
};

}  // namespace nivra
