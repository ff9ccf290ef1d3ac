#include <gtest/gtest.h>

#include "nivra/parameterMap.h"

namespace nivra {
namespace {

using Pieces = std::vector<std::string>;

TEST(ParameterMap, RecognisesTheKeysOfASection) {
  const struct {
    const char* key;
    const char* section;
    bool matches;
  } cases[] = {
      {"vanilla.scoreAbsorption", "vanilla", true},
      {"vanillaLowFps.scoreAbsorption", "vanilla", false},
      {"vanilla.kalman.processNoiseVariance", "vanilla", false},
      {"vanilla.kalman.processNoiseVariance", "vanilla.kalman", true},
      {"vanilla_scoreAbsorption", "vanilla", true},
      {"xvanilla.a", "vanilla", false},
      {"vanilla", "vanilla", true},
      {"van", "vanilla", false},
  };
  for (const auto& c : cases) EXPECT_EQ(matches(c.key, c.section), c.matches) << c.key << " in " << c.section;
}

TEST(ParameterMap, MergesASectionAndConsumesIt) {
  ParameterMap params = {{"s.a", "1"}, {"s_b", "2"}, {"s.nested.a", "3"}, {"t.a", "4"}};
  const ParameterMap merged = updateParams({{"a", "0"}, {"b", "0"}, {"c", "0"}}, params, "s");
  EXPECT_EQ(merged, (ParameterMap{{"a", "1"}, {"b", "2"}, {"c", "0"}}));
  EXPECT_EQ(params, (ParameterMap{{"s.nested.a", "3"}, {"t.a", "4"}}));
}

TEST(ParameterMap, TrimsAndSplits) {
  EXPECT_EQ(trim("  a b \t"), "a b");
  EXPECT_EQ(trim(" \v\f\r\n"), "");
  EXPECT_EQ(split("", ","), Pieces{});
  EXPECT_EQ(split("x", ","), Pieces{"x"});
  EXPECT_EQ(split("a,", ","), (Pieces{"a", ""}));
  EXPECT_EQ(split(" a , b ,c", ","), (Pieces{"a", "b", "c"}));
  EXPECT_EQ(split("0.000001, 0.0070332", ","), (Pieces{"0.000001", " 0.0070332"}));
  EXPECT_EQ(split("a--b---c", "--"), (Pieces{"a", "b", "-c"}));
}

}  // namespace
}  // namespace nivra
