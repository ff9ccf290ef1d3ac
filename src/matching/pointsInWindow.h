#pragma once

#include <cmath>
#include <cstdint>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "nivra/geometry.h"

namespace nivra {

/// A range of positions around a centre, borders included. Its half sizes may be infinite.
struct Window {
  Point center;
  float halfWidth;
  float halfHeight;
};

inline constexpr std::uint32_t kPointsAtOnce = 4;

/// Which of four points lie in the window, as one bit each. The comparisons cost little; what costs are branches on
/// results without a pattern, so there is one for four points.
inline unsigned bitsOfInside(const float* x, const float* y, const Window& window) {
#ifdef __SSE2__
  const __m128 magnitude = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
  const auto isNear = [magnitude](const float* coordinates, float center, float reach) {
    const __m128 offset = _mm_sub_ps(_mm_loadu_ps(coordinates), _mm_set1_ps(center));
    return _mm_cmple_ps(_mm_and_ps(offset, magnitude), _mm_set1_ps(reach));
  };
  const __m128 isInside =
      _mm_and_ps(isNear(x, window.center.x, window.halfWidth), isNear(y, window.center.y, window.halfHeight));
  return static_cast<unsigned>(_mm_movemask_ps(isInside));
#else
  unsigned bits = 0;
  for (unsigned i = 0; i < kPointsAtOnce; ++i) {
    const bool isInside = (std::abs(x[i] - window.center.x) <= window.halfWidth) &
                          (std::abs(y[i] - window.center.y) <= window.halfHeight);
    bits |= static_cast<unsigned>(isInside) << i;
  }
  return bits;
#endif
}

}  // namespace nivra
