#pragma once

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <random>
#include <string>

namespace nivra::worker {

/// A name that no other process has, on any machine or at any time; people see by it who it is.
inline std::string uniqueName() {
  std::array<char, 256> host{};
  gethostname(host.data(), host.size() - 1);
  std::random_device random;
  return fmt::format("{}-{}-{:08x}{:08x}", host.data(), getpid(), random(), random());
}

}  // namespace nivra::worker
