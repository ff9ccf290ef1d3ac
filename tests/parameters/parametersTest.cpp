#include <gtest/gtest.h>

#include <cstring>

#include "nivra/parameterTables.h"
#include "support/detections.h"

namespace nivra {
namespace {

TEST(ParameterTables, NameAndDescribeEveryParameterOnce) {
  const struct {
    const ParameterTable& table;
    std::size_t count;
  } cases[] = {{kalmanTable, 14}, {kalman4DTable, 16}, {vanillaTable, 7}, {vanillaLowFpsTable, 7}, {reidTable, 24}};
  for (const auto& c : cases) {
    EXPECT_EQ(defaultValues(c.table).size(), c.count);
    for (const ParameterDescription& entry : c.table) {
      EXPECT_TRUE(std::strlen(entry.meaning) > 0 && std::strlen(entry.pull) > 0) << entry.name;
    }
  }
}

TEST(VanillaParameters, DefaultsAndOverrides) {
  const vanilla::TrackerParams defaults = test::vanillaParams();
  EXPECT_EQ(defaults.scoreAbsorption, 0.06F);
  EXPECT_EQ(defaults.confidentLikelihoodThreshold, 4.0F);
  EXPECT_EQ(defaults.kalmanParams.yParams.objectnessParams.observationNoiseVarianceMin, 0.000001F);
  EXPECT_EQ(defaults.kalmanParams.yParams.objectnessParams.observationNoiseVarianceMax, 0.0116828F);
  EXPECT_TRUE(defaults.kalmanParams.objectnessClasses.empty());

  const vanilla::TrackerParams params = test::vanillaParams({
      {"vanilla.widthFactorGating", " 2.5abc"},
      {"vanilla.heightFactorGating", "3"},
      {"vanilla.kalman.observationNoiseVarianceW", "0.5"},
      {"vanilla.kalman.observationNoiseVarianceRangeX", "0.001, 0.01, 7"},
      {"vanilla.kalman.objectnessClasses", "human, 0.5, car,0.3 , human, 0.9"},
  });
  EXPECT_EQ(params.widthFactorGating, 2.5F);
  EXPECT_EQ(params.heightFactorGating, 3.0F);
  const KalmanBoxParams& kalman = params.kalmanParams;
  EXPECT_EQ(kalman.wParams.observationNoiseVariance, 0.5F);
  EXPECT_EQ(kalman.wParams.initialVariance, 0.5F);
  EXPECT_EQ(kalman.hParams.observationNoiseVariance, 0.00701324F);
  EXPECT_EQ(kalman.xParams.objectnessParams.observationNoiseVarianceMin, 0.001F);
  EXPECT_EQ(kalman.xParams.objectnessParams.observationNoiseVarianceMax, 0.01F);
  EXPECT_EQ(kalman.objectnessClasses, (std::set<std::string>{"car", "human"}));
  for (const KalmanParams1d* axis : {&kalman.xParams, &kalman.yParams, &kalman.wParams, &kalman.hParams}) {
    EXPECT_EQ(axis->objectnessParams.classSigmoids.at("human").center, 0.5F);
    EXPECT_EQ(axis->objectnessParams.classSigmoids.at("car").center, 0.3F);
    EXPECT_EQ(axis->objectnessParams.classSigmoids.at("car").width, 0.294F);
  }
}

TEST(LowFrameRateParameters, ReadTheirOwnSectionsAlone) {
  ParameterMap params = {{"vanillaLowFps.widthFactorGating", "2"},
                         {"vanillaLowFps.kalman.processNoiseVariance", "0.7"},
                         {"vanilla.kalman.processNoiseVariance", "0.9"}};
  const vanilla::TrackerParams parsed = parseVanillaLowFpsParameters(params, 1.0F);
  EXPECT_EQ(parsed.scoreAbsorption, 0.12F);
  EXPECT_EQ(parsed.widthFactorGating, 2.0F);
  EXPECT_EQ(parsed.kalmanParams.hParams.processNoiseVariance, 0.7F);
  EXPECT_EQ(params.size(), 1U);
}

TEST(ReidParameters, DefaultsOverridesAndConversions) {
  ParameterMap params = {{"reid.maxReviveAge", "20000000001"},
                         {"reid.expiryAge", "2.5"},
                         {"reid.maxReviveAttempts", "-1"},
                         {"reid.useInbetweenFiltering", "0"}};
  const reid::TrackerParams parsed = parseParameters(params, parseReidParameters, 1.0F);
  EXPECT_EQ(parsed.maxReviveAge, 20000000001U);
  EXPECT_EQ(parsed.expiryAge, 2U);
  EXPECT_EQ(parsed.maxReviveAttempts, 18446744073709551615U);
  EXPECT_FALSE(parsed.inBetween.useInbetween);
  EXPECT_EQ(parsed.inBetween.maxAngle, -0.5F);
  EXPECT_EQ(parsed.minTimeBeforeConfident, 400000001U);
  EXPECT_EQ(parsed.minTimeBeforeConfidentId, 2000000001U);

  for (const auto& [text, isOn] : std::map<std::string, bool>{{"7", true}, {"-1", true}, {"0", false}}) {
    ParameterMap flag = {{"reid.useInbetweenFiltering", text}};
    EXPECT_EQ(parseReidParameters(flag, 1.0F).inBetween.useInbetween, isOn) << text;
  }
  ParameterMap badFlag = {{"reid.useInbetweenFiltering", "true"}};
  EXPECT_THROW(parseReidParameters(badFlag, 1.0F), std::invalid_argument);
  ParameterMap badCount = {{"reid.maxReviveAttempts", "x"}};
  EXPECT_THROW(parseReidParameters(badCount, 1.0F), std::invalid_argument);
}

TEST(ReidParameters, VerticalVariancesCarryTheSquaredAspectRatio) {
  const struct {
    float aspectRatio;
    float expected[17];
  } cases[] = {
      {1.0F,
       {1, 0.2F, 0.1204F, 0.08022F, 0.08022F, 0.1F, 0.1F, 0.002814F, 0.002814F, 0.011254F, 0.011254F, 0.002813F, 1, 9,
        1, 1, 3}},
      {2.0F,
       {4, 0.2F, 0.4816F, 0.08022F, 0.32088F, 0.1F, 0.4F, 0.002814F, 0.011256F, 0.011254F, 0.045016F, 0.002813F, 1, 9,
        1, 1, 3}},
  };
  for (const auto& c : cases) {
    ParameterMap none;
    const KalmanBoxParams4D parsed = parseKalman4DParameters(none, "reid", c.aspectRatio);
    float fields[17];
    static_assert(sizeof fields == sizeof parsed);
    std::memcpy(fields, &parsed, sizeof fields);
    for (std::size_t i = 0; i < 17; ++i) EXPECT_FLOAT_EQ(fields[i], c.expected[i]) << "field " << i + 1;
  }
}

TEST(HybridParameters, FillBothRecordsFromOneMap) {
  ParameterMap params = {{"vanilla.scoreAbsorption", "0.1"},
                         {"vanilla.kalman.processNoiseVariance", "0.3"},
                         {"reid.lambda", "0.5"},
                         {"reid.kalman4d.mahalanobisLimit", "2"}};
  const hybrid::TrackerParams parsed = parseParameters(params, parseHybridParameters, 1.0F);
  EXPECT_EQ(parsed.vanillaParams.scoreAbsorption, 0.1F);
  EXPECT_EQ(parsed.vanillaParams.kalmanParams.xParams.processNoiseVariance, 0.3F);
  EXPECT_EQ(parsed.reidParams.lambda, 0.5F);
  EXPECT_EQ(parsed.reidParams.kalmanParams.mahalanobisLimit, 2.0F);
}

}  // namespace
}  // namespace nivra
