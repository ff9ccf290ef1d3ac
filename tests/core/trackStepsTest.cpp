#include "core/trackSteps.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "matching/greedyMatching.h"
#include "core/labels.h"
#include "support/listedPairs.h"

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

TEST(GreedyMatching, OrdersAllCosts) {
  std::uint64_t last = 0;
  for (const unsigned rank : {0U, 1U, 5U}) {
    for (const float cost : {-INFINITY, -2.0F, -1.0F, -1e-45F, 0.0F, 1e-45F, 1.0F, 2.0F, INFINITY, NAN}) {
      EXPECT_LT(last, matchingOrder(rank, cost)) << rank << ", " << cost;
      last = matchingOrder(rank, cost);
    }
    EXPECT_EQ(matchingOrder(rank, -0.0F), matchingOrder(rank, 0.0F));
    EXPECT_EQ(matchingOrder(rank, std::copysign(NAN, -1.0F)), last);
  }
}

TEST(GreedyMatching, SettlesTiesByPosition) {
  GreedyMatching matching;
  matching.reset(4, 4);
  for (const std::uint32_t first : {2U, 0U, 1U}) {
    for (const std::uint32_t second : {1U, 0U}) matching.propose(first, second);
  }
  matching.propose(3, 2);
  matching.match([](const auto& pair) { return matchingOrder(pair.first == 0 ? 1 : 0, 1.0F); });
  const auto kNone = GreedyMatching::kNone;
  const std::uint32_t expected[] = {kNone, 0, 1, 2};
  for (std::uint32_t first = 0; first < 4; ++first) EXPECT_EQ(matching.partnerOf(first), expected[first]) << first;
  EXPECT_TRUE(matching.isFree(3) && !matching.isFree(2) && !matching.isFree(0));
}

TEST(GreedyMatching, GivesPairsTooManyToBeListedByFirstElement) {
  const test::ListedPairs none(0);
  GreedyMatching matching;
  const auto visitAll = [](std::uint32_t from, auto isWanted, auto visit) {
    for (std::uint32_t to = 0; to < 3; ++to) {
      if (isWanted(to)) visit(to, -static_cast<float>(from + to));
    }
  };
  matching.match(3, 3, visitAll, visitAll, [](const auto& pair) { return matchingOrder(0, pair.cost); });
  ASSERT_EQ(matching.getPairs().size(), 3U);
  for (std::uint32_t i = 0; i < 3; ++i) EXPECT_TRUE(matching.getPairs()[i].first == i && matching.partnerOf(i) == i);
}

}  // namespace nivra
