#include "reid/dotProducts.h"

#include <array>
#include <cstring>

namespace nivra::reid {

namespace {

constexpr std::size_t kLanes = 16;

// Inlined into functions that are compiled for different instruction sets.
#define NIVRA_INLINE inline __attribute__((always_inline))

using Vector4 = float __attribute__((vector_size(16)));

/// Adds a block of products to the lanes of several rows at once. Together the rows fill eight vector registers: enough
/// independent sums to hide the latency of additions, and enough rows to read memory from several places.
template <class Vector, std::size_t Rows>
class LaneSums {
 public:
  NIVRA_INLINE void add(const float* row, std::size_t stride, const float* vector) {
    for (std::size_t v = 0; v < kVectors; ++v) {
      Vector factor;
      std::memcpy(&factor, vector + v * kWidth, sizeof factor);
      for (std::size_t r = 0; r < Rows; ++r) {
        Vector numbers;
        std::memcpy(&numbers, row + r * stride + v * kWidth, sizeof numbers);
        sums[r][v] += numbers * factor;
      }
    }
  }

  NIVRA_INLINE float total(std::size_t row) const {
    Vector4 quarters[4];
    std::memcpy(quarters, sums[row], sizeof quarters);
    const Vector4 sum = (quarters[0] + quarters[2]) + (quarters[1] + quarters[3]);
    return (sum[0] + sum[2]) + (sum[1] + sum[3]);
  }

 private:
  static constexpr std::size_t kWidth = sizeof(Vector) / sizeof(float);
  static constexpr std::size_t kVectors = kLanes / kWidth;

  Vector sums[Rows][kVectors] = {};
};

template <class Vector, std::size_t Rows>
NIVRA_INLINE void multiplyRows(const float* rows, std::size_t stride, const float* vector, std::size_t length,
                               float* products) {
  LaneSums<Vector, Rows> sums;
  std::size_t i = 0;
  for (; i + kLanes <= length; i += kLanes) sums.add(rows + i, stride, vector + i);
  if (i < length) {  // the rest, filled up with zeros
    std::array<float, kLanes> lastOfVector{};
    std::array<float, Rows * kLanes> lastOfRows{};
    std::memcpy(lastOfVector.data(), vector + i, (length - i) * sizeof(float));
    for (std::size_t r = 0; r < Rows; ++r) {
      std::memcpy(&lastOfRows[r * kLanes], rows + r * stride + i, (length - i) * sizeof(float));
    }
    sums.add(lastOfRows.data(), kLanes, lastOfVector.data());
  }
  for (std::size_t r = 0; r < Rows; ++r) products[r] = sums.total(r);
}

template <class Vector>
NIVRA_INLINE void multiply(const float* rows, std::size_t rowCount, std::size_t stride, const float* vector,
                           std::size_t length, float* products) {
  constexpr std::size_t kRowsAtOnce = 2 * sizeof(Vector) / sizeof(Vector4);
  std::size_t row = 0;
  for (; row + kRowsAtOnce <= rowCount; row += kRowsAtOnce) {
    multiplyRows<Vector, kRowsAtOnce>(rows + row * stride, stride, vector, length, products + row);
  }
  for (; row < rowCount; ++row) multiplyRows<Vector, 1>(rows + row * stride, stride, vector, length, products + row);
}

/// For the instruction set that the library is compiled for: SSE2 or NEON, or plain arithmetic where there is neither.
void multiplyBaseline(const float* rows, std::size_t rowCount, std::size_t stride, const float* vector,
                      std::size_t length, float* products) {
  multiply<Vector4>(rows, rowCount, stride, vector, length, products);
}

#if defined(__x86_64__)
using Vector8 = float __attribute__((vector_size(32)));
using Vector16 = float __attribute__((vector_size(64)));

__attribute__((target("avx2"))) void multiplyAvx2(const float* rows, std::size_t rowCount, std::size_t stride,
                                                  const float* vector, std::size_t length, float* products) {
  multiply<Vector8>(rows, rowCount, stride, vector, length, products);
}

__attribute__((target("avx512f"))) void multiplyAvx512(const float* rows, std::size_t rowCount, std::size_t stride,
                                                       const float* vector, std::size_t length, float* products) {
  multiply<Vector16>(rows, rowCount, stride, vector, length, products);
}
#endif

}  // namespace

std::vector<DotProductsVariant> availableDotProducts() {
  std::vector<DotProductsVariant> variants;
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f")) variants.push_back({"AVX-512", multiplyAvx512});
  if (__builtin_cpu_supports("avx2")) variants.push_back({"AVX2", multiplyAvx2});
#endif
  variants.push_back({"baseline", multiplyBaseline});
  return variants;
}

DotProducts fastestDotProducts() {
  static const DotProducts fastest = availableDotProducts().front().compute;
  return fastest;
}

}  // namespace nivra::reid
