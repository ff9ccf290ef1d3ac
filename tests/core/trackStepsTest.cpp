#include "core/trackSteps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "core/greedyMatching.h"

namespace nivra {
namespace {

TEST(TrackSteps, IdentitiesStartAgainAtZeroAfterTheLargest) {
  std::int32_t nextId = std::numeric_limits<std::int32_t>::max() - 1;
  EXPECT_EQ(takeNextId(nextId), 2147483646);
  EXPECT_EQ(takeNextId(nextId), 2147483647);
  EXPECT_EQ(takeNextId(nextId), 0);
  EXPECT_EQ(takeNextId(nextId), 1);
}

struct Candidate {
  const int* track;
  const int* detection;
  float cost;
};

TEST(GreedyMatching, OrderIsTotalWhateverTheCosts) {
  const int elements[3] = {};
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  std::vector<Candidate> sorted;
  for (const float cost : {-infinity, -1.0F, 0.0F, infinity, nan}) {
    for (const int& track : elements) {
      for (const int& detection : elements) sorted.push_back({&track, &detection, cost});
    }
  }
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    for (std::size_t j = 0; j < sorted.size(); ++j) {
      EXPECT_EQ(cheaper(sorted[i], sorted[j]), i < j) << i << ", " << j;
    }
  }
}

}  // namespace
}  // namespace nivra
