#include "core/trackSteps.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/greedyMatching.h"
#include "core/labels.h"

namespace nivra {

TEST(TrackSteps, IdentitiesStartAgainAtZeroAfterTheLargest) {
  std::int32_t nextId = 2147483646;
  for (const int expected : {2147483646, 2147483647, 0, 1}) EXPECT_EQ(takeNextId(nextId), expected);
}

TEST(Labels, MatchNothingButWhatTheyAreAssociatedWith) {
  const LabelAssociations associations = {{"car", {"truck"}}, {"bus", {"bus", "car"}}};
  EXPECT_TRUE(isAdmissible(associations, "car", "truck") && isAdmissible(associations, "bus", "bus"));
  EXPECT_FALSE(isAdmissible(associations, "car", "car") || isAdmissible(associations, "truck", "car"));
  EXPECT_FALSE(isAdmissible(associations, "truck", "truck") || isAdmissible(associations, "bus", "Bus"));
}

struct Candidate {
  const int* track;
  const int* detection;
  float cost;
};

TEST(GreedyMatching, OrderIsTotalWhateverTheCosts) {
  const int elements[3] = {};
  std::vector<Candidate> sorted;
  for (const float cost : {-INFINITY, -1.0F, 0.0F, INFINITY, NAN}) {
    for (const int& track : elements) {
      for (const int& detection : elements) sorted.push_back({&track, &detection, cost});
    }
  }
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    for (std::size_t j = 0; j < sorted.size(); ++j) EXPECT_EQ(cheaper(sorted[i], sorted[j]), i < j) << i << ", " << j;
  }
}

}  // namespace nivra
