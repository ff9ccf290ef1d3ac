#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "support/detections.h"

namespace nivra {
namespace {

TEST(MakeTracker, ChoosesTheVariantBySelector) {
  EXPECT_NE(dynamic_cast<vanilla::VanillaTracker*>(makeTracker(0, {}, {}, 1.0F).get()), nullptr);
  EXPECT_NE(dynamic_cast<reid::ReidTracker*>(makeTracker(1, {}, {}, 1.0F).get()), nullptr);
  EXPECT_NE(dynamic_cast<hybrid::HybridTracker*>(makeTracker(2, {}, {}, 1.0F).get()), nullptr);
  EXPECT_NE(dynamic_cast<vanillaLowFps::VanillaLowFpsTracker*>(makeTracker(3, {}, {}, 1.0F).get()), nullptr);
  for (const int selector : {-1, 4, 2147483647}) {
    EXPECT_EQ(makeTracker(selector, {{"no such key", "x"}}, {}, 1.0F), nullptr) << selector;
  }
}

enum class Refusal { kInvalidArgument, kOutOfRange };

struct BadParameters {
  int selector;
  ParameterMap params;
  Refusal refusal;
  const char* message;
};

const BadParameters kBadParameters[] = {
    {0, {{"reid.lambda", "0.3"}}, Refusal::kInvalidArgument, "Unused tracker parameters: reid.lambda=0.3 "},
    {0, {{"b", "2"}, {"a", "1"}}, Refusal::kInvalidArgument, "Unused tracker parameters: a=1 b=2 "},
    {0,
     {{"vanillaLowFps.scoreAbsorption", "1"}},
     Refusal::kInvalidArgument,
     "Unused tracker parameters: vanillaLowFps.scoreAbsorption=1 "},
    {0,
     {{"vanilla.kalman.deep.key", "1"}},
     Refusal::kInvalidArgument,
     "Unused tracker parameters: vanilla.kalman.deep.key=1 "},
    {0, {{"vanilla.noSuchKey", "1"}}, Refusal::kOutOfRange, "Bad parameter: noSuchKey"},
    {0, {{"vanilla.kalman.noSuchKey", "1"}}, Refusal::kOutOfRange, "Bad parameter: noSuchKey"},
    {0, {{"vanilla.scoreAbsorption", "much"}}, Refusal::kInvalidArgument, "stof"},
    {0, {{"vanilla.scoreAbsorption", "1e99"}}, Refusal::kOutOfRange, "stof"},
    {0,
     {{"vanilla.kalman.objectnessClasses", "human, 0.5, car"}},
     Refusal::kInvalidArgument,
     "Bad value of objectnessClasses: a label lacks its center in \"human, 0.5, car\""},
    {0,
     {{"vanilla.kalman.observationNoiseVarianceRangeW", "0.5"}},
     Refusal::kInvalidArgument,
     "Bad value of observationNoiseVarianceRangeW: two numbers are needed in \"0.5\""},
    {0,
     {{"vanilla.kalman.observationNoiseVarianceRangeW", ""}},
     Refusal::kInvalidArgument,
     "Bad value of observationNoiseVarianceRangeW: two numbers are needed in \"\""},
    {1,
     {{"vanilla.scoreAbsorption", "1"}},
     Refusal::kInvalidArgument,
     "Unused tracker parameters: vanilla.scoreAbsorption=1 "},
    {1, {{"reid.maxReviveAttempts", "many"}}, Refusal::kInvalidArgument, "stoull"},
    {1, {{"reid.useInbetweenFiltering", "true"}}, Refusal::kInvalidArgument, "stoi"},
    {2,
     {{"vanilla.scoreAbsorption", "1"},
      {"vanillaLowFps.scoreAbsorption", "1"},
      {"reid.lambda", "1"},
      {"reid.kalman4d.processFactor", "1"}},
     Refusal::kInvalidArgument,
     "Unused tracker parameters: vanillaLowFps.scoreAbsorption=1 "},
    {3,
     {{"vanilla.scoreAbsorption", "1"}},
     Refusal::kInvalidArgument,
     "Unused tracker parameters: vanilla.scoreAbsorption=1 "},
    // Unknown names come before values, the outer section before the nested one.
    {0, {{"vanilla.kalman.processNoiseVariance", "x"}, {"vanilla.z", "1"}}, Refusal::kOutOfRange, "Bad parameter: z"},
};

TEST(MakeTracker, RefusesBadParameters) {
  for (const BadParameters& bad : kBadParameters) {
    SCOPED_TRACE(bad.message);
    std::string message;
    try {
      makeTracker(bad.selector, bad.params, {}, 1.0F);
    } catch (const std::invalid_argument& error) {
      if (bad.refusal == Refusal::kInvalidArgument) message = error.what();
    } catch (const std::out_of_range& error) {
      if (bad.refusal == Refusal::kOutOfRange) message = error.what();
    }
    EXPECT_EQ(message, bad.message);
  }
  EXPECT_THROW(makeTracker(0, {{"vanilla", "1"}}, {}, 1.0F), std::out_of_range);
}

}  // namespace
}  // namespace nivra
