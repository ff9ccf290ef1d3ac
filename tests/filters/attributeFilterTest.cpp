#include "nivra/attributeFilter.h"

#include <gtest/gtest.h>

#include <limits>

namespace nivra {
namespace {

using Attributes = std::vector<AttributeClassification>;

void expectReport(const AttributeFilter& filter, const Attributes& expected) {
  const Attributes report = filter.report();
  ASSERT_EQ(report.size(), expected.size());
  for (std::size_t i = 0; i < report.size(); ++i) {
    EXPECT_EQ(report[i].attributeType, expected[i].attributeType) << i;
    EXPECT_EQ(report[i].attributeValue, expected[i].attributeValue) << i;
    EXPECT_FLOAT_EQ(report[i].score, expected[i].score) << i;
  }
}

TEST(AttributeFilter, ReportsItsFirstAttributesAsTheyCame) {
  AttributeFilter filter({{5, 2, 0.1F}, {1, 3, 0.8F}});
  expectReport(filter, {{5, 2, 0.1F}, {1, 3, 0.8F}});
  filter.emptyUpdate(0.9F);
  filter.emptyUpdate(0.9F);
  expectReport(filter, {{5, 2, 0.081F}, {1, 3, 0.648F}});
}

TEST(AttributeFilter, BlendsSeenPairsAndFadesAllOthers) {
  AttributeFilter filter({{1, 2, 0.5F}, {1, 3, 0.1F}, {2, 7, 1.0F}, {2, 7, 0.4F}});
  filter.update({{1, 2, 1.0F}, {1, 9, 1.0F}}, 0.1F);
  expectReport(filter, {{1, 2, 0.55F}, {1, 9, 0.1F}, {1, 3, 0.09F}});
  filter.update({}, 0.1F);
  expectReport(filter, {});
  // What left the report comes back with the scores that it faded to.
  filter.update({{2, 8, 1.0F}, {1, 3, 0.0F}}, 0.1F);
  expectReport(filter,
               {{1, 2, 0.55F * 0.81F}, {1, 9, 0.081F}, {1, 3, 0.09F * 0.81F}, {2, 7, 0.4F * 0.729F}, {2, 8, 0.1F}});
}

TEST(AttributeFilter, BlendsARepeatedPairTwice) {
  AttributeFilter filter({{1, 1, 0.0F}});
  filter.update({{1, 1, 1.0F}, {1, 1, 1.0F}}, 0.5F);
  expectReport(filter, {{1, 1, 0.75F}});
}

TEST(AttributeFilter, OrdersEqualScoresByValueAndNaNLast) {
  AttributeFilter filter({});
  const float nan = std::numeric_limits<float>::quiet_NaN();
  filter.update({{1, 4, 0.5F}, {1, 2, nan}, {1, -3, 0.5F}, {1, 9, 0.7F}, {1, 1, nan}}, 1.0F);
  std::vector<int> values;
  for (const auto& attribute : filter.report()) values.push_back(attribute.attributeValue);
  EXPECT_EQ(values, (std::vector<int>{9, -3, 4, 1, 2}));
}

}  // namespace
}  // namespace nivra
