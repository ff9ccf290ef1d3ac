#include "hostkit/evaluation/parallel.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace nivra::hostkit {

void forEachInParallel(std::size_t count, int jobs, const std::function<void(std::size_t i)>& work) {
  std::vector<std::exception_ptr> faults(count);
  std::atomic<std::size_t> next{0};
  const auto takeTurns = [&] {
    for (std::size_t i = next++; i < count; i = next++) {
      try {
        work(i);
      } catch (...) {
        faults[i] = std::current_exception();
      }
    }
  };

  std::vector<std::thread> others;
  const std::size_t most = std::min(count, static_cast<std::size_t>(std::max(jobs, 1)));
  try {
    while (others.size() + 1 < most) others.emplace_back(takeTurns);
  } catch (const std::system_error&) {
    // As many threads as there can be; this one would do.
  }
  takeTurns();
  for (std::thread& each : others) each.join();
  for (const std::exception_ptr& fault : faults) {
    if (fault) std::rethrow_exception(fault);
  }
}

}  // namespace nivra::hostkit
