#include "matching/greedyMatching.h"

#include <cmath>
#include <cstring>

namespace nivra {

std::uint64_t matchingOrder(unsigned rank, float cost) {
  std::uint32_t place = UINT32_MAX;
  if (!std::isnan(cost)) {
    const float withoutNegativeZero = cost + 0.0F;
    std::memcpy(&place, &withoutNegativeZero, sizeof place);
    // The bits of floats are ordered by magnitude: negative ones turn around and go below the others.
    constexpr std::uint32_t kSign = 0x80000000U;
    place = (place & kSign) != 0 ? ~place : place | kSign;
  }
  return std::uint64_t{rank} << 32U | place;
}

}  // namespace nivra
