#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <tuple>

#include "nivra/parameterTables.h"
#include "nivra/presets.h"
#include "nivra/trackerFactory.h"
#include "support/detections.h"

namespace nivra::test {

TEST(ParameterMap, TrimsAndSplits) {
  using Pieces = std::vector<std::string>;
  EXPECT_EQ(trim("  a b \t"), "a b");
  EXPECT_EQ(split("", ","), Pieces{});
  EXPECT_EQ(split("a,", ","), (Pieces{"a", ""}));
  EXPECT_EQ(split(" a , b ,c", ","), (Pieces{"a", "b", "c"}));
  EXPECT_EQ(split("0.000001, 0.0070332", ","), (Pieces{"0.000001", " 0.0070332"}));
  EXPECT_EQ(split("a--b---c", "--"), (Pieces{"a", "b", "-c"}));
}

using Values = std::vector<double>;

template <class... Numbers>
static Values listOf(Numbers... numbers) {
  return {static_cast<double>(numbers)...};
}

/// Every parameter of a section; the value is its place in the table, counted from 1.
static ParameterMap numbered(const ParameterTable& table, const std::string& section) {
  ParameterMap params;
  for (const ParameterDescription& entry : table) {
    params.emplace(section + '.' + entry.name, std::to_string(params.size() + 1));
  }
  return params;
}

static Values valuesOf(const vanilla::TrackerParams& p) {
  return listOf(p.widthRelativeDiffGating, p.heightRelativeDiffGating, p.widthFactorGating, p.heightFactorGating,
                p.expirationLikelihoodThreshold, p.scoreAbsorption, p.confidentLikelihoodThreshold);
}

TEST(VanillaParameters, FillTheirFields) {
  EXPECT_EQ(valuesOf(vanillaParams()), listOf(1, 1, 1, 1, 0, 0.06F, 4));
  EXPECT_EQ(valuesOf(lowFpsParams()), listOf(1, 1, 1, 1, 0, 0.12F, 4));
  EXPECT_EQ(valuesOf(vanillaParams(numbered(vanillaTable, "vanilla"))), listOf(1, 2, 3, 4, 5, 6, 7));
  EXPECT_EQ(valuesOf(lowFpsParams(numbered(vanillaLowFpsTable, "vanillaLowFps"))), listOf(1, 2, 3, 4, 5, 6, 7));
  EXPECT_EQ(vanillaParams({{"vanilla_widthFactorGating", " 2.5abc"}}).widthFactorGating, 2.5F);
}

static Values valuesOf(const KalmanParams1d& p, const std::string& label) {
  const ObjectnessParams& o = p.objectnessParams;
  return listOf(p.processNoiseVariance, p.observationNoiseVariance, p.initialVariance, p.initialVelocityVariance,
                o.iouSigmoid.width, o.iouSigmoid.center, o.observationNoiseVarianceMin, o.observationNoiseVarianceMax,
                o.classSigmoids.at(label).width, o.classSigmoids.at(label).center);
}

TEST(KalmanParameters, FillTheirFields) {
  const char kClasses[] = "vanillaLowFps.kalman.objectnessClasses";
  const KalmanBoxParams defaults = lowFpsParams({{kClasses, "human, 0.5, car,0.3 , human, 0.9"}}).kalmanParams;
  EXPECT_EQ(defaults.objectnessClasses, (std::set<std::string>{"car", "human"}));
  EXPECT_TRUE(vanillaParams().kalmanParams.objectnessClasses.empty());

  ParameterMap params = numbered(kalmanTable, "vanillaLowFps.kalman");
  params[kClasses] = "car, 7";
  for (const char axis : {'X', 'Y', 'W', 'H'}) {
    params[std::string("vanillaLowFps.kalman.observationNoiseVarianceRange") + axis] += ", 0.5, 9";
  }
  const KalmanBoxParams filled = parseParameters(params, parseVanillaLowFpsParameters, 1.0F).kalmanParams;
  const auto expectAxis = [&](KalmanParams1d KalmanBoxParams::*axis, int place, float variance, float worst) {
    const Values expected = listOf(0.05F, variance, variance, 0.05F, 0.294F, 0.68F, 0.000001F, worst, 0.294F, 0.5F);
    EXPECT_EQ(valuesOf(defaults.*axis, "human"), expected) << place;
    EXPECT_EQ((defaults.*axis).objectnessParams.classSigmoids.at("car").center, 0.3F);
    EXPECT_EQ(valuesOf(filled.*axis, "car"), listOf(1, 2 + place, 2 + place, 2, 9, 10, 10 + place, 0.5, 8, 7));
  };
  expectAxis(&KalmanBoxParams::xParams, 1, 0.00070332F, 0.0070332F);
  expectAxis(&KalmanBoxParams::yParams, 2, 0.00116828F, 0.0116828F);
  expectAxis(&KalmanBoxParams::wParams, 3, 0.00254144F, 0.0254144F);
  expectAxis(&KalmanBoxParams::hParams, 4, 0.00701324F, 0.0701324F);
}

static Values valuesOf(const reid::TrackerParams& p) {
  return listOf(p.lambda, p.maxDistanceScalingFactor, p.maxFeatureDistance, p.maxReviveFeatureDistance,
                p.maxIouDistance, p.reviveQuantile, p.defaultCosineDistance, p.maxStoreFeaturesIou,
                p.inactiveOverlapExtraTime, p.minTimeBeforeConfident, p.minTimeBeforeConfidentId, p.maxTentativeAge,
                p.maxConfidentAge, p.inactiveAge, p.expiryAge, p.maxReviveAttempts, p.maxDynamicReviveAge,
                p.maxReviveAge, p.minConfidentFeatureVectors, p.scoreAbsorption, p.inBetween.useInbetween,
                p.inBetween.iouScoreMargin, p.inBetween.maxAngle, p.inBetween.minIou);
}

TEST(ReidParameters, FillTheirFields) {
  EXPECT_EQ(valuesOf(reidParams()),
            listOf(0.2F, 7.5F, 0.4F, 0.225F, 0.8F, 0.3F, 0.4F, 0, 0, 400000001, 2000000001, 300000000, 300000000,
                   1000000000, 5000000000, 5, 5000000000, 20000000000, 1, 0.06F, 1, 5, -0.5F, 0));
  EXPECT_EQ(valuesOf(reidParams(numbered(reidTable, "reid"))),
            listOf(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 1, 22, 23, 24));
  EXPECT_EQ(reidParams({{"reid.expiryAge", "2.5"}}).expiryAge, 2U);
  EXPECT_EQ(reidParams({{"reid.expiryAge", "-1"}}).expiryAge, 18446744073709551615U);
  EXPECT_TRUE(reidParams({{"reid.useInbetweenFiltering", "-1"}}).inBetween.useInbetween);
  EXPECT_FALSE(reidParams({{"reid.useInbetweenFiltering", "0"}}).inBetween.useInbetween);
}

TEST(ReidParameters, VerticalVariancesCarryTheSquaredAspectRatio) {
  const auto expectFields = [](ParameterMap params, const std::vector<float>& expected) {
    const KalmanBoxParams4D parsed = parseReidParameters(params, 2.0F).kalmanParams;
    float fields[17];
    static_assert(sizeof fields == sizeof parsed);
    std::memcpy(fields, &parsed, sizeof fields);
    for (std::size_t i = 0; i < 17; ++i) EXPECT_FLOAT_EQ(fields[i], expected[i]) << "field " << i + 1;
  };
  expectFields({}, {4, 0.2F, 0.4816F, 0.08022F, 0.32088F, 0.1F, 0.4F, 0.002814F, 0.011256F, 0.011254F, 0.045016F,
                    0.002813F, 1, 9, 1, 1, 3});
  expectFields(numbered(kalman4DTable, "reid.kalman4d"),
               {4, 2, 12, 4, 20, 6, 24, 7, 32, 9, 40, 11, 144, 169, 14, 15, 16});
}

TEST(HybridParameters, FillBothRecordsFromOneMap) {
  ParameterMap params = {{"vanilla.scoreAbsorption", "0.1"}, {"reid.lambda", "0.5"}};
  const hybrid::TrackerParams parsed = parseParameters(params, parseHybridParameters, 2.0F);
  EXPECT_EQ(parsed.vanillaParams.scoreAbsorption, 0.1F);
  EXPECT_EQ(parsed.reidParams.lambda, 0.5F);
  EXPECT_EQ(parsed.reidParams.kalmanParams.aspectRatioSquared, 4.0F);
}

static std::string refusalOf(int selector, const ParameterMap& params) {
  try {
    makeTracker(selector, params, {}, 1.0F);
  } catch (const std::logic_error& error) {
    const bool isOutOfRange = dynamic_cast<const std::out_of_range*>(&error) != nullptr;
    return (isOutOfRange ? "out of range: " : "invalid argument: ") + std::string(error.what());
  }
  return "";
}

TEST(MakeTracker, RefusesBadParameters) {
  const std::string unused = "invalid argument: Unused tracker parameters: ";
  const std::string lacksCenter = "objectnessClasses: a label lacks its center in \"human, 0.5, car\"";
  const std::string lacksNumber = "observationNoiseVarianceRangeW: two numbers are needed in \"0.5\"";
  const std::string badValue = "invalid argument: Bad value of ";
  const std::tuple<int, ParameterMap, std::string> cases[] = {
      {0, {{"a.vanilla", "2"}, {"van", "1"}, {"vanilla.a.b", "1"}}, unused + "a.vanilla=2 van=1 vanilla.a.b=1 "},
      {1, {{"vanilla.scoreAbsorption", "1"}}, unused + "vanilla.scoreAbsorption=1 "},
      {2, {{"vanilla.scoreAbsorption", "1"}, {"vanillaLowFps.x", "1"}}, unused + "vanillaLowFps.x=1 "},
      {3, {{"vanilla.scoreAbsorption", "1"}}, unused + "vanilla.scoreAbsorption=1 "},
      {0, {{"vanilla.kalman.x", "1"}}, "out of range: Bad parameter: x"},
      // Unknown names come before bad values, the outer section before the nested one.
      {0, {{"vanilla.kalman.processNoiseVariance", "x"}, {"vanilla.z", "1"}}, "out of range: Bad parameter: z"},
      {1, {{"reid.lambda", "x"}, {"reid.z", "1"}}, "out of range: Bad parameter: z"},
      {0, {{"vanilla.scoreAbsorption", "much"}}, "invalid argument: stof"},
      {0, {{"vanilla.scoreAbsorption", "1e99"}}, "out of range: stof"},
      {1, {{"reid.maxReviveAttempts", "many"}}, "invalid argument: stoull"},
      {1, {{"reid.useInbetweenFiltering", "true"}}, "invalid argument: stoi"},
      {0, {{"vanilla.kalman.objectnessClasses", "human, 0.5, car"}}, badValue + lacksCenter},
      {0, {{"vanilla.kalman.observationNoiseVarianceRangeW", "0.5"}}, badValue + lacksNumber},
  };
  for (const auto& [selector, params, refusal] : cases) EXPECT_EQ(refusalOf(selector, params), refusal);
  EXPECT_THROW(makeTracker(0, {{"vanilla", "1"}}, {}, 1.0F), std::out_of_range);
}

TEST(CheckParameters, NamesWhatIsWrong) {
  using Kind = ParameterFault::Kind;
  const std::tuple<int, std::string, std::string, Kind, std::string> cases[] = {
      {0, "scoreAbsorption", "1", Kind::unknownSection, "expected section.name"},
      {0, "vanila.scoreAbsorption", "1", Kind::unknownSection, "there is no section \"vanila\""},
      {0, "vanilla.lambda", "1", Kind::unknownName, "vanilla has no parameter \"lambda\""},
      {3, "vanilla.scoreAbsorption", "1", Kind::sectionNotRead, "not read by this tracker"},
      {7, "vanilla.scoreAbsorption", "1", Kind::sectionNotRead, "not read by this tracker"},
      {0, "vanilla.scoreAbsorption", "0.5x", Kind::unreadableValue, "not a number"},
      {0, "vanilla.scoreAbsorption", "", Kind::unreadableValue, "not a number"},
      {0, "vanilla.scoreAbsorption", "1e99", Kind::unreadableValue, "number out of range"},
      {0, "vanilla.scoreAbsorption", "nan", Kind::valueOutOfRange, "expected a number from 0 to 1"},
      {2, "reid.expiryAge", "1e9", Kind::unreadableValue, "not a whole number from 0"},
      {2, "reid.expiryAge", "99999999999999999999", Kind::unreadableValue, "number out of range"},
      {2, "reid.useInbetweenFiltering", "2", Kind::valueOutOfRange, "expected a number from 0 to 1"},
      {0, "vanilla.kalman.objectnessClasses", "human", Kind::unreadableValue, "a label lacks its center"},
      {0, "vanilla.kalman.objectnessClasses", "human, x", Kind::unreadableValue, "not a number: \"x\""},
      {0, "vanilla.kalman.observationNoiseVarianceRangeX", "1", Kind::unreadableValue,
       "expected two numbers with a comma between"},
      {0, "vanilla.kalman.observationNoiseVarianceRangeX", "0.1, -1", Kind::valueOutOfRange,
       "expected numbers from 1e-12 to 1e+06"},
  };
  for (const auto& [selector, key, value, kind, text] : cases) {
    const std::vector<ParameterFault> faults = checkParameters(selector, {{key, value}});
    ASSERT_EQ(faults.size(), 1U) << key << '=' << value;
    EXPECT_EQ(faults[0].kind, kind) << key << '=' << value;
    EXPECT_EQ(faults[0].text, text);
  }
}

TEST(CheckParameters, PassesEveryDefaultWhichIsUsual) {
  for (int selector = 0; selector < 4; ++selector) {
    ParameterMap defaults;
    for (const ParameterSection& section : sectionsOf(selector)) {
      for (const ParameterDescription& each : *section.table) {
        defaults[std::string(section.name) + '.' + each.name] = each.defaultValue;
        for (const std::string& piece : split(each.kind == ParameterKind::classList ? "" : each.defaultValue, ",")) {
          EXPECT_TRUE(each.usual.least <= std::stod(piece) && std::stod(piece) <= each.usual.most) << each.name;
        }
        const bool isPossible = each.scale == ParameterScale::linear || each.usual.least > 0;
        EXPECT_TRUE(isPossible && each.range.least <= each.usual.least && each.usual.most <= each.range.most)
            << each.name;
      }
    }
    EXPECT_TRUE(checkParameters(selector, defaults).empty());
    EXPECT_NE(makeTracker(selector, defaults, {}, 1.0F), nullptr);
  }
}

TEST(Presets, AreTakenByTheirTrackersWhole) {
  for (const std::string& name : presetNames()) {
    for (int selector = 0; selector < 4; ++selector) {
      const ParameterMap params = presetParameters(name, selector);
      EXPECT_FALSE(params.empty()) << name << " " << selector;
      EXPECT_TRUE(checkParameters(selector, params).empty()) << name << " " << selector;
      EXPECT_NE(makeTracker(selector, params, {}, 1.0F, nullptr), nullptr);
    }
    ParameterMap ofBoth = presetParameters(name, 0);
    ofBoth.merge(presetParameters(name, 1));
    EXPECT_EQ(presetParameters(name, 2), ofBoth) << "the hybrid tracker is both of them";
    EXPECT_TRUE(presetParameters(name, 4).empty());
  }
  EXPECT_THROW(presetParameters("stedy", 0), std::invalid_argument);
}

}  // namespace nivra::test
