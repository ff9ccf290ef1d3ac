#pragma once

#include <cstddef>

namespace nivra::bench {

/// What the process asked of operator new so far.
struct Allocations {
  std::size_t calls;
  std::size_t liveBytes;  ///< As the heap rounds them up.
};

Allocations allocations();

}  // namespace nivra::bench
