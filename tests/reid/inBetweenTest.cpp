#include "nivra/reid/inBetween.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/detections.h"

namespace nivra::reid {
namespace {

constexpr float kWide = 256.0F / 81.0F;
constexpr InBetweenParams kParams = {true, 5.0F, -0.5F, 0.0F};

ObjectDetection at(float x, float top, float objectness, const char* label = "human", int id = 0) {
  ObjectDetection detection = test::detectionOf({x - 0.1F, top, x + 0.1F, top - 0.5F}, label, id);
  detection.objectness = objectness;
  return detection;
}

TEST(InBetween, MarksDetectionsBetweenTwoBetterNeighbours) {
  const struct {
    const char* what;
    std::vector<ObjectDetection> detections;
    int marked;  // how many, always the first ones
    InBetweenParams params = kParams;
  } cases[] = {
      {"between", {at(0, 0, 60), at(-0.15F, 0, 90), at(0.15F, 0, 88)}, 1},
      {"at the margin", {at(0, 0, 83), at(-0.15F, 0, 90), at(0.15F, 0, 88)}, 1},
      {"too good", {at(0, 0, 84), at(-0.15F, 0, 90), at(0.15F, 0, 88)}, 0},
      {"on one side", {at(0, 0, 60), at(0.1F, 0, 90), at(0.15F, 0, 88)}, 0},
      {"same anchor", {at(0, 0, 60), at(0, 0, 90), at(0.15F, 0, 88)}, 0},
      {"another label", {at(0, 0, 60), at(-0.15F, 0, 90), at(0.15F, 0, 88, "Human")}, 0},
      {"not touching", {at(0, 0, 60), at(-0.2F, 0, 90), at(0.15F, 0, 88)}, 0},
      {"too little overlap", {at(0, 0, 60), at(-0.15F, 0, 90), at(0.15F, 0, 88)}, 0, {true, 5, -0.5F, 0.2F}},
      {"switched off", {at(0, 0, 60), at(-0.15F, 0, 90), at(0.15F, 0, 88)}, 0, {false, 5, -0.5F, 0}},
      {"a wide angle counts more in a wide picture", {at(0, 0, 60), at(-0.1F, 0.1F, 90), at(0.1F, 0.1F, 88)}, 1},
      {"two of them", {at(0, 0, 60), at(0.01F, 0, 60), at(-0.15F, 0, 90), at(0.15F, 0, 88)}, 2},
      {"alone", {at(0, 0, 60)}, 0},
      {"nobody", {}, 0},
  };
  for (auto c : cases) {
    markInbetweenDetections(c.detections, c.params, kWide);
    for (std::size_t i = 0; i < c.detections.size(); ++i) {
      EXPECT_EQ(c.detections[i].inbetween, static_cast<int>(i) < c.marked) << c.what << " " << i;
    }
  }
  std::vector<ObjectDetection> flagged = {at(0, 0, 60)};
  flagged[0].inbetween = true;
  markInbetweenDetections(flagged, kParams, kWide);
  EXPECT_TRUE(flagged[0].inbetween);
  EXPECT_NEAR(angleBetweenDetections(at(0, 0, 0), at(-1, 0, 0), at(0, 1, 0), kWide), 0.0F, 1e-6);
  EXPECT_NEAR(angleBetweenDetections(at(0, 0, 0), at(-1, 1, 0), at(1, 1, 0), 1.0F), 0.0F, 1e-6);
  EXPECT_NEAR(angleBetweenDetections(at(0, 0, 0), at(-1, 1, 0), at(1, 1, 0), kWide), -0.51923F, 1e-4);
}

TEST(InBetween, ListsItsFindingsForHosts) {
  std::vector<ObjectDetection> detections = {at(-0.15F, 0, 90, "human", 10), at(0, 0, 60, "human", 11),
                                             at(0.15F, 0, 88, "human", 12), at(0.16F, 0, 88, "human", 13)};
  std::map<std::string, std::string> params = {
      {"useInbetween", "true"}, {"iouScoreMargin", "5"}, {"maxAngle", "-0.5"}, {"minIou", "0"}};
  const auto findings = getInBetweenDetections(detections, params, kWide);
  ASSERT_EQ(findings.size(), 2U);
  EXPECT_EQ(findings[0].first, 11);
  EXPECT_EQ(std::get<0>(findings[0].second), 10);
  EXPECT_EQ(std::get<1>(findings[0].second), 12);
  EXPECT_EQ(std::get<1>(findings[1].second), 13);
  EXPECT_NEAR(std::get<2>(findings[0].second), -1.0F, 1e-5);
  EXPECT_FALSE(detections[1].inbetween);
  for (const char* off : {"True", "1", ""}) {
    params["useInbetween"] = off;
    EXPECT_TRUE(getInBetweenDetections(detections, params, kWide).empty()) << off;
  }
  params["minIou"] = "x";
  EXPECT_THROW(getInBetweenDetections(detections, params, kWide), std::invalid_argument);
  params.erase("minIou");
  EXPECT_THROW(getInBetweenDetections(detections, params, kWide), std::out_of_range);
}

}  // namespace
}  // namespace nivra::reid
