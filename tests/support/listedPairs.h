#pragma once

#include <cstddef>

#include "matching/pairLimit.h"

namespace nivra::test {

/// Lets few frames list their pairs, or none, as if they were crushes.
class ListedPairs {
 public:
  explicit ListedPairs(std::size_t perElement) { listedPairsPerElement = perElement; }
  ~ListedPairs() { listedPairsPerElement = usual; }
  ListedPairs(const ListedPairs&) = delete;
  ListedPairs& operator=(const ListedPairs&) = delete;

 private:
  std::size_t usual = listedPairsPerElement;
};

}  // namespace nivra::test
