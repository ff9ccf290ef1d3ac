#pragma once

/// @file
/// Appearance feature vectors of one object, and their cosine distances.

#include <cstddef>
#include <vector>

#include "nivra/export.h"

namespace nivra::reid {

/// Cosine distance of two feature vectors, 0 (same direction) to 2; 2 when they can't be compared: different
/// lengths, empty, or a zero vector among them.
NIVRA_EXPORT float cosineDistance(const std::vector<float>& a, const std::vector<float>& b);

/// A feature vector with what every comparison needs of it. Refers to the vector. For the tracker alone; not exported.
struct Feature {
  /// Of any length.
  explicit Feature(const std::vector<float>& vector);
  /// Of a vector whose squared norm is known.
  Feature(const float* values, std::size_t size, float squaredNorm);

  const float* values;  ///< The vector's first number.
  std::size_t size;     ///< How many there are.
  float squaredNorm;    ///< Sum of their squares.
};

/// The latest 50 feature vectors of an object, side by side in memory, each with its squared norm.
///
/// All sums run in a fixed order of 16 lanes, whatever vector instructions the processor offers: every machine gets the
/// same bits. What a track keeps, and for it alone; not exported.
class FeatureGallery {
 public:
  /// How many vectors are kept.
  static constexpr std::size_t kCapacity = 50;

  /// Adds a vector of any length, which may be one of this gallery; the oldest one of a full gallery falls out.
  void add(const Feature& feature);

  /// How many vectors there are, `kCapacity` at most.
  std::size_t size() const { return rows.size(); }
  /// Whether there is none.
  bool empty() const { return rows.empty(); }

  /// A vector, 0 for the oldest; it stays until the next `add`.
  /// @throws std::out_of_range unless `position` is less than `size()`.
  Feature operator[](std::size_t position) const;

  /// Cosine distances of a feature from all vectors, in no particular order; `size()` of them go to `distances`.
  void computeDistances(const Feature& feature, float* distances) const;

  /// The smallest of these distances that is a number; infinity if there is none.
  float computeMinDistance(const Feature& feature) const;

 private:
  template <class Archive>
  friend void fields(Archive& archive, FeatureGallery& gallery);

  struct Row {
    std::size_t length;
    float squaredNorm;
  };

  void widenRows(std::size_t newStride);

  std::vector<float> numbers;  // row after row, each `stride` long
  std::size_t stride = 0;      // the length of the longest vector so far
  std::vector<Row> rows;
  std::size_t oldest = 0;  // among the rows
};

}  // namespace nivra::reid
