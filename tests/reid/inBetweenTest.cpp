#include "nivra/reid/inBetween.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <sstream>
#include <stdexcept>

#include "support/detections.h"
#include "support/dice.h"
#include "support/listedPairs.h"
#include "support/plainTrackers.h"

namespace nivra::test {

constexpr float kWide = 256.0F / 81.0F;
constexpr reid::InBetweenParams kParams = {true, 5.0F, -0.5F, 0.0F};

static ObjectDetection at(float x, float top, float objectness, const char* label = "human", int id = 0) {
  ObjectDetection detection = detectionOf({x - 0.1F, top, x + 0.1F, top - 0.5F}, label, id);
  detection.objectness = objectness;
  return detection;
}

TEST(InBetween, MarksDetectionsBetweenTwoBetterNeighbours) {
  const ObjectDetection left = at(-0.15F, 0, 90), middle = at(0, 0, 60), right = at(0.15F, 0, 88);
  ObjectDetection flagged = middle;
  flagged.inbetween = true;
  ObjectDetection bottomless = middle;
  bottomless.box.bottom = NAN;
  const struct {
    const char* what;
    std::vector<ObjectDetection> detections;
    std::size_t marked;  // how many, always the first ones
    reid::InBetweenParams params = kParams;
  } cases[] = {{"between", {middle, left, right}, 1},
               {"at the margin", {at(0, 0, 83), left, right}, 1},
               {"too good", {at(0, 0, 83.5F), left, right}, 0},
               {"too good for the other", {at(0, 0, 83.5F), right, left}, 0},
               {"on one side", {middle, at(0.1F, 0, 90), right}, 0},
               {"same anchor", {middle, at(0, 0, 90), right}, 0},
               {"another label", {middle, left, at(0.15F, 0, 88, "Human")}, 0},
               {"not touching", {middle, at(-0.2F, 0, 90), right}, 0},
               {"too little overlap", {middle, left, right}, 0, {true, 5, -0.5F, 0.2F}},
               {"angle at the limit", {middle, left, at(0, 0.1F, 88)}, 1, {true, 5, 0, 0}},
               {"marked before", {flagged}, 1},
               {"no overlap asked for", {middle, at(-0.4F, 0, 90), right}, 1, {true, 5, -0.5F, -1}},
               {"no overlap that is a number", {bottomless, at(-0.4F, 0, 90), right}, 0, {true, 5, -0.5F, -1}},
               {"switched off", {middle, left, right}, 0, {false, 5, -0.5F, 0}},
               {"a wide angle counts more in a wide picture", {middle, at(-0.1F, 0.1F, 90), at(0.1F, 0.1F, 88)}, 1},
               {"two of them", {middle, at(0.01F, 0, 60), left, right}, 2}};
  for (auto c : cases) {
    reid::markInbetweenDetections(c.detections, c.params, kWide);
    for (std::size_t i = 0; i < c.detections.size(); ++i) {
      EXPECT_EQ(c.detections[i].inbetween, i < c.marked) << c.what << " " << i;
    }
  }
  EXPECT_NEAR(reid::angleBetweenDetections(at(0, 0, 0), at(-1, 1, 0), at(1, 1, 0), 1.0F), 0.0F, 1e-6);
  EXPECT_NEAR(reid::angleBetweenDetections(at(0, 0, 0), at(-1, 1, 0), at(1, 1, 0), kWide), -0.51923F, 1e-4);
  EXPECT_EQ(reid::angleBetweenDetections(at(0, 0, 0), at(0, 0, 0), at(1, 1, 0), 1.0F), 0.0F);
  EXPECT_EQ(reid::angleBetweenDetections(at(0, 0, 0), at(1, 1, 0), at(0, 0, 0), 1.0F), 0.0F);
}

TEST(InBetween, MarksInACrushWhatTryingAllPairsMarks) {
  Dice dice(7);
  std::size_t marks = 0;
  std::size_t detectionCount = 0;
  for (int frame = 0; frame < 600; ++frame) {
    // On a lattice directions coincide, oppose each other and lie at the limit of the angle; finely, they lie anywhere.
    const float step = dice.happens(0.5F) ? 0.01F : 1e-5F;
    const float spread = dice.between(0.0F, 0.1F);
    const auto place = [&] { return std::round(dice.between(-spread, spread) / step) * step; };
    std::vector<ObjectDetection> detections;
    for (std::size_t left = 2 + dice.below(40); left > 0; --left) {
      const float objectness = dice.happens(0.002F) ? NAN : std::round(dice.between(0, 60));
      detections.push_back(at(place(), place(), objectness));
      if (dice.happens(0.001F)) detections.back().box.top *= 1e-25F;
    }
    reid::InBetweenParams params = kParams;
    params.maxAngle = std::array{-0.5F, -0.49F, -0.51F, -0.9F, -1.0F, 0.0F, 0.7F, 1.0F}[dice.below(8)];
    auto expected = detections;
    plainlyMarkInbetween(expected, params);
    for (const std::size_t perElement : {0U, 16U}) {
      const ListedPairs listed(perElement);
      auto found = detections;
      reid::markInbetweenDetections(found, params, kWide);
      for (std::size_t i = 0; i < found.size(); ++i) {
        ASSERT_EQ(found[i].inbetween, expected[i].inbetween) << "frame " << frame << ", detection " << i;
      }
    }
    for (const ObjectDetection& each : expected) marks += each.inbetween ? 1 : 0;
    detectionCount += expected.size();
  }
  EXPECT_TRUE(marks > detectionCount / 5 && marks < detectionCount * 4 / 5) << marks << " of " << detectionCount;
}

TEST(InBetween, ListsItsFindingsForHosts) {
  std::vector<ObjectDetection> detections = {at(-0.15F, 0, 90, "human", 10), at(0, 0, 60, "human", 11),
                                             at(0.15F, 0, 88, "human", 12), at(0.16F, 0, 88, "human", 13)};
  const ParameterMap good = {{"useInbetween", "true"}, {"iouScoreMargin", "5"}, {"maxAngle", "-0.5"}, {"minIou", "0"}};
  const auto findingsWith = [&](ParameterMap params) {
    params.insert(good.begin(), good.end());
    std::ostringstream text;
    for (const auto& [middle, found] : reid::getInBetweenDetections(detections, params, kWide)) {
      text << std::get<0>(found) << '<' << middle << '<' << std::get<1>(found) << ' ' << std::get<2>(found) << ' ';
    }
    return text.str();
  };
  EXPECT_EQ(findingsWith({}), "10<11<12 -1 10<11<13 -1 ");
  EXPECT_FALSE(detections[1].inbetween);
  const ParameterMap changes = {{"useInbetween", "1"}, {"iouScoreMargin", "29"}, {"maxAngle", "-2"}, {"minIou", "0.2"}};
  for (const auto& change : changes) EXPECT_EQ(findingsWith({change}), "") << change.first;
  EXPECT_THROW(findingsWith({{"minIou", "x"}}), std::invalid_argument);
  EXPECT_THROW(reid::getInBetweenDetections(detections, {{"useInbetween", "true"}}, kWide), std::out_of_range);
}

}  // namespace nivra::test
