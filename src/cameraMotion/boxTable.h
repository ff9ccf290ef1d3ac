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

 private:
  std::vector<std::int32_t> ids;
  std::size_t rows = 0;
};

}  // namespace nivra
