#pragma once

#include <cstddef>
#include <functional>

namespace nivra::hostkit {

/// Calls `work(i)` for each i below `count`, on up to `jobs` threads. Of those that throw, the exception of the first
/// one by number is thrown on when all have ended.
void forEachInParallel(std::size_t count, int jobs, const std::function<void(std::size_t i)>& work);

}  // namespace nivra::hostkit
