#include "nivra/kalmanBoxFilter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "support/detections.h"

namespace nivra {
namespace {

using test::boxAt;

const KalmanBoxParams kParams = test::vanillaParams().kalmanParams;
const Box kBox = boxAt(0.1F, -0.2F, 0.2F, 0.4F);

void expectNear(const Box& actual, const Box& expected) {
  EXPECT_NEAR(actual.left, expected.left, 1e-6);
  EXPECT_NEAR(actual.top, expected.top, 1e-6);
  EXPECT_NEAR(actual.right, expected.right, 1e-6);
  EXPECT_NEAR(actual.bottom, expected.bottom, 1e-6);
}

TEST(KalmanBoxFilter, StartsAtItsBoxAtRest) {
  const KalmanBoxFilter filter(kBox, kParams);
  expectNear(filter.getBox(), kBox);
  EXPECT_EQ(filter.getVelocity().x, 0.0F);
  EXPECT_EQ(filter.getVelocity().y, 0.0F);
  const Point radius = filter.getMaxPositionDifference();
  EXPECT_NEAR(radius.x, std::sqrt(2 * 0.00070332 * 12.115665), 1e-6);
  EXPECT_NEAR(radius.y, std::sqrt(2 * 0.00116828 * 12.115665), 1e-6);
  const Point scaled = filter.getMaxPositionDifferenceScaled(3.0F);
  EXPECT_NEAR(scaled.x, radius.x * 0.6F, 1e-6);
  EXPECT_NEAR(scaled.y, radius.y * 0.6F, 1e-6);
}

TEST(KalmanBoxFilter, GatesAllFourAxesTogether) {
  const KalmanBoxFilter filter(kBox, kParams);
  const float sigma[4] = {std::sqrt(2 * 0.00070332F), std::sqrt(2 * 0.00116828F), std::sqrt(2 * 0.00254144F),
                          std::sqrt(2 * 0.00701324F)};
  const auto movedBy = [&](float x, float y, float w, float h) {
    return filter.canAssociate(
        boxAt(0.1F + x * sigma[0], -0.2F + y * sigma[1], 0.2F + w * sigma[2], 0.4F + h * sigma[3]));
  };
  EXPECT_TRUE(movedBy(0, 0, 0, 0));
  // The gate is a distance of sqrt(19.997355) = 4.4718 standard deviations.
  for (int axis = 0; axis < 4; ++axis) {
    const auto alone = [&](float d) {
      return movedBy(d * (axis == 0), d * (axis == 1), d * (axis == 2), d * (axis == 3));
    };
    EXPECT_TRUE(alone(4.46F) && alone(-4.46F)) << axis;
    EXPECT_FALSE(alone(4.48F) || alone(-4.48F)) << axis;
  }
  EXPECT_TRUE(movedBy(2.23F, -2.23F, 2.23F, -2.23F));
  EXPECT_FALSE(movedBy(2.24F, -2.24F, 2.24F, -2.24F));
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_FALSE(filter.canAssociate({nan, 0.0F, 0.2F, -0.4F}));
}

TEST(KalmanBoxFilter, ScaledGateCountsCentreOffsetsInWidths) {
  const KalmanBoxFilter filter(kBox, kParams);
  const Point radius = filter.getMaxPositionDifferenceScaled(2.0F);
  const auto accepts = [&](float x, float y, float scale) {
    return filter.canAssociateScaledDistance(boxAt(0.1F + x, -0.2F + y, 9.0F, 9.0F), scale);
  };
  EXPECT_TRUE(accepts(0.99F * radius.x, 0.99F * radius.y, 2.0F));
  EXPECT_FALSE(accepts(1.01F * radius.x, 0.0F, 2.0F));
  EXPECT_FALSE(accepts(0.0F, 1.01F * radius.y, 2.0F));
  EXPECT_TRUE(accepts(1.01F * radius.x, 1.01F * radius.y, 2.1F));
  EXPECT_FALSE(accepts(0.0F, 0.0F, 0.0F));  // 0 / 0
}

TEST(KalmanBoxFilter, LikelihoodIsTheProductOfItsAxes) {
  KalmanBoxFilter filter(kBox, kParams);
  filter.predict(0.1F);
  const Box box = boxAt(0.13F, -0.22F, 0.25F, 0.3F);
  KalmanFilter1D axes[4] = {
      {0.1F, kParams.xParams}, {-0.2F, kParams.yParams}, {0.2F, kParams.wParams}, {0.4F, kParams.hParams}};
  const float measured[4] = {0.13F, -0.22F, 0.25F, 0.3F};
  float product = 1.0F;
  float sum = 0.0F;
  for (int i = 0; i < 4; ++i) {
    axes[i].predict(0.1F);
    product *= axes[i].observationLikelihood(measured[i]);
    sum += axes[i].observationLogLikelihood(measured[i]);
  }
  EXPECT_NEAR(filter.observationLikelihood(box) / product, 1.0F, 1e-4);
  EXPECT_NEAR(filter.observationLogLikelihood(box), sum, 1e-4);
  const Box far = boxAt(9.0F, 9.0F, 0.2F, 0.4F);
  EXPECT_EQ(filter.observationLikelihood(far), 0.0F);
  EXPECT_TRUE(std::isfinite(filter.observationLogLikelihood(far)));
}

TEST(KalmanBoxFilter, CoastsWithoutGrowing) {
  KalmanBoxFilter filter(kBox, kParams);
  for (int i = 1; i <= 20; ++i) {
    filter.predict(0.04F);
    const float t = 0.04F * static_cast<float>(i);
    filter.update(boxAt(0.1F + t, -0.2F + 0.5F * t, 0.2F + 0.3F * t, 0.4F + 0.2F * t));
  }
  EXPECT_NEAR(filter.getVelocity().x, 1.0F, 0.15F);
  EXPECT_NEAR(filter.getVelocity().y, 0.5F, 0.15F);
  filter.emptyUpdate();
  const Box before = filter.getBox();
  filter.predict(0.5F);
  const Box after = filter.getBox();
  EXPECT_GT(after.left, before.left + 0.3F);
  EXPECT_NEAR(after.right - after.left, before.right - before.left, 1e-6);
  EXPECT_NEAR(after.top - after.bottom, before.top - before.bottom, 1e-6);

  const Point velocity = filter.getVelocity();
  const Point radius = filter.getMaxPositionDifference();
  filter.updateNoFilter(kBox);
  expectNear(filter.getBox(), kBox);
  EXPECT_EQ(filter.getVelocity().x, velocity.x);
  EXPECT_EQ(filter.getMaxPositionDifference().y, radius.y);
}

TEST(KalmanBoxFilter, NeverReportsAnInvertedBox) {
  const KalmanBoxFilter filter({0.3F, -0.1F, 0.1F, 0.2F}, kParams);  // right < left, top < bottom
  expectNear(filter.getBox(), boxAt(0.2F, 0.05F, 1e-6F, 1e-6F));
  EXPECT_GT(filter.getBox().right, filter.getBox().left);
}

TEST(KalmanBoxFilter, ScalesProcessNoiseAxisByAxis) {
  KalmanBoxFilter plain(kBox, kParams);
  KalmanBoxFilter scaled(kBox, kParams);
  plain.predict(0.5F);
  scaled.predict(0.5F, {1, 1, 1, 1});
  const Box box = boxAt(0.2F, -0.1F, 0.3F, 0.5F);
  EXPECT_EQ(plain.observationLikelihood(box), scaled.observationLikelihood(box));

  KalmanBoxFilter onX(kBox, kParams);
  onX.predict(0.5F, {6, 1, 1, 1, 99});
  EXPECT_GT(onX.getMaxPositionDifference().x, plain.getMaxPositionDifference().x);
  EXPECT_EQ(onX.getMaxPositionDifference().y, plain.getMaxPositionDifference().y);

  EXPECT_THROW(plain.predict(0.5F, {1, 1, 1}), std::invalid_argument);
  EXPECT_EQ(plain.observationLikelihood(box), scaled.observationLikelihood(box));
}

TEST(KalmanBoxFilter, TakesItsNoiseFromTheQualityOfADetection) {
  const KalmanBoxParams params = test::vanillaParams({{"vanilla.kalman.objectnessClasses", "human,0.5"}}).kalmanParams;
  KalmanBoxFilter filter(kBox, params);
  const Point before = filter.getMaxPositionDifference();
  EXPECT_THROW(filter.setObservationNoise(0.9F, 0.9F, "car"), std::out_of_range);
  EXPECT_EQ(filter.getMaxPositionDifference().x, before.x);
  filter.setObservationNoise(1.0F, 1.0F, "human");
  EXPECT_LT(filter.getMaxPositionDifference().x, before.x);
  EXPECT_LT(filter.getMaxPositionDifference().y, before.y);
  filter.setObservationNoise(0.1F, 0.1F, "human");
  EXPECT_GT(filter.getMaxPositionDifference().x, before.x);
}

}  // namespace
}  // namespace nivra
