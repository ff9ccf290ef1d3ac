#pragma once

#include <cstddef>
#include <cstdint>

#include "hostkit/worlds/crowd.h"
#include "support/detections.h"

namespace nivra::test {

/// People and cars in a bustle, with short features and attributes. The same seed gives the same frames everywhere.
class Crowd : public hostkit::Crowd {
 public:
  Crowd(std::size_t size, std::uint64_t seed) : hostkit::Crowd(settingsFor(size, seed)) {}

 private:
  static hostkit::CrowdSettings settingsFor(std::size_t size, std::uint64_t seed) {
    hostkit::CrowdSettings settings;
    settings.objects = size;
    settings.featureLength = 2;
    settings.hasAttributes = true;
    settings.seed = seed;
    return settings;
  }
};

}  // namespace nivra::test
