#include "allocations.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace {

// No atomics: the benchmarks run on one thread, and a locked instruction per allocation would be part of what is timed.
std::size_t calls = 0;
std::size_t liveBytes = 0;

void* counted(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  ++calls;
  liveBytes += malloc_usable_size(memory);
  return memory;
}

void release(void* memory) noexcept {
  if (memory == nullptr) return;
  liveBytes -= malloc_usable_size(memory);
  std::free(memory);
}

}  // namespace

// The array and nothrow forms of the standard library end here.
void* operator new(std::size_t size) { return counted(std::malloc(size == 0 ? 1 : size)); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  const auto multiple = static_cast<std::size_t>(alignment);
  return counted(std::aligned_alloc(multiple, (size + multiple - 1) / multiple * multiple));
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { release(memory); }

namespace nivra::bench {

Allocations allocations() { return {calls, liveBytes}; }

}  // namespace nivra::bench
