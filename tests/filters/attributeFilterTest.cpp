#include "nivra/attributeFilter.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/detections.h"

namespace nivra::test {

static std::string reportOf(const AttributeFilter& filter) {
  std::ostringstream text;
  write(text, filter.report());
  return text.str();
}

TEST(AttributeFilter, BlendsSeenPairsAndFadesAllOthers) {
  AttributeFilter filter({{1, 2, 0.5F}, {1, 3, 0.1F}, {2, 7, 1.0F}, {2, 7, 0.4F}});
  EXPECT_EQ(reportOf(filter), " 1=2 0.5 1=3 0.1 2=7 1 2=7 0.4");
  filter.update({{1, 2, 1.0F}, {1, 9, 1.0F}}, 0.1F);
  EXPECT_EQ(reportOf(filter), " 1=2 0.55 1=9 0.1 1=3 0.09");
  filter.update({}, 0.1F);
  EXPECT_EQ(reportOf(filter), "");
  filter.emptyUpdate(0.5F);
  // What left the report comes back with the scores that it faded to; a pair given twice blends twice.
  filter.update({{2, 8, 1.0F}, {1, 3, 0.0F}, {2, 8, 1.0F}}, 0.1F);
  EXPECT_EQ(reportOf(filter), " 1=2 0.22275 1=9 0.0405 1=3 0.03645 2=8 0.19 2=7 0.1458");
}

TEST(AttributeFilter, TellsWhichPairsItSaw) {
  AttributeFilter whole({{1, 2, 0.5F}, {1, 3, 0.1F}, {2, 7, 1.0F}}), halved = whole;
  const std::vector<AttributeClassification> seen = {{1, 3, 1.0F}, {4, -1, 1.0F}};
  whole.update(seen, 0.1F);
  const auto values = halved.updateAttributeScores(seen, 0.1F);
  EXPECT_EQ(values, (std::map<int, std::set<int>>{{1, {3}}, {4, {-1}}}));
  halved.aggregateAttributes(values);
  EXPECT_EQ(reportOf(halved), reportOf(whole));
}

TEST(AttributeFilter, OrdersEqualScoresByValueAndNaNLast) {
  AttributeFilter filter({});
  filter.update({{1, 4, 0.5F}, {1, 2, NAN}, {1, -3, 0.5F}, {1, 9, 0.7F}, {1, 1, NAN}}, 1.0F);
  EXPECT_EQ(reportOf(filter), " 1=9 0.7 1=-3 0.5 1=4 0.5 1=1 nan 1=2 nan");
}

}  // namespace nivra::test
