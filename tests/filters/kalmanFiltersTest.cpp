#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "core/boxGeometry.h"
#include "nivra/kalmanBoxFilter.h"
#include "nivra/kalmanBoxFilter4D.h"
#include "support/denseKalman.h"
#include "support/dice.h"

namespace nivra::test {

const Box kBox = boxAt(0.1F, -0.2F);

/// Ends a frame of a filter and of its textbook form in one of the ways that there are.
template <class Filter, class Dense>
void endFrame(Filter& filter, Dense& dense, const Box& box, Dice& dice) {
  if (dice.happens(0.1F)) {
    filter.emptyUpdate();
    dense.emptyUpdate();
  } else if (dice.happens(0.01F)) {
    filter.updateNoFilter(box);
    dense.place(box);
  } else {
    filter.update(box);
    dense.update(box);
  }
}

TEST(KalmanBoxFilter, FollowsTheTextbookFormForHours) {
  const KalmanBoxParams params = vanillaParams({{"vanilla.kalman.objectnessClasses", "human,0.5"}}).kalmanParams;
  KalmanBoxFilter filter(kBox, params);
  DenseAxes dense(kBox, params);
  Dice dice(1);
  for (int step = 0; step < 30'000; ++step) {
    if (step % 5 == 0) {
      const float iou = dice.between(0, 1), score = dice.between(0, 1);
      filter.setObservationNoise(iou, score, "human");
      dense.setObservationNoise(iou, score, "human");
    }
    const float dt = step % 1000 == 999 ? 10.0F : dice.between(0.02F, 0.12F);
    std::vector<float> scales(5);
    for (float& scale : scales) scale = dice.between(0, 6);
    step % 2 == 0 ? filter.predict(dt, scales) : filter.predict(dt);
    const DenseKalman::Four factors = Eigen::Vector4f(scales.data()).cast<double>();
    dense.predict(dt, step % 2 == 0 ? factors : DenseKalman::Four::Ones());

    const Box box =
        boxAt(dice.between(0, 0.2F), dice.between(0, 0.2F), dice.between(0.3F, 0.5F), dice.between(0.3F, 1));
    const double distance = dense.squaredDistance(box);
    const double logLikelihood = dense.logLikelihood(box);
    ASSERT_NEAR(filter.observationLogLikelihood(box), logLikelihood, 1e-3 + 1e-3 * distance);
    const double likelihood = std::exp(logLikelihood);
    ASSERT_NEAR(filter.observationLikelihood(box), likelihood, (1e-3 + 1e-3 * distance) * likelihood + 1e-30);
    ASSERT_NEAR(filter.getMaxPositionDifference().x, dense.gateRadius(0), 1e-3 * dense.gateRadius(0));
    ASSERT_NEAR(filter.getMaxPositionDifferenceScaled(3).y, dense.gateRadius(1) * 3 * dense.x(4), 1e-3);
    for (const double share : {0.999, 1.001}) {
      const DenseKalman::Four offset = dense.residual(box) * std::sqrt(19.997355 * share / distance);
      const Eigen::Vector4f gate = (dense.h * dense.x + offset).cast<float>();
      ASSERT_EQ(filter.canAssociate(boxAt(gate(0), gate(1), gate(2), gate(3))), share < 1);
    }
    endFrame(filter, dense, box, dice);
    ASSERT_NEAR((DenseKalman::edgesOf(filter.getBox()) - dense.edges()).norm(), 0, 5e-4);
    ASSERT_NEAR(filter.getVelocity().x, dense.x(1), 1e-3);
    ASSERT_NEAR(filter.getVelocity().y, dense.x(3), 1e-3);
  }
}

TEST(KalmanBoxFilter, IsFourFiltersOfOneCoordinate) {
  const KalmanBoxParams params = vanillaParams({{"vanilla.kalman.objectnessClasses", "human,0.5"}}).kalmanParams;
  KalmanBoxFilter box(kBox, params);
  const auto start = KalmanBoxFilter::measure(kBox);
  KalmanFilter1D axes[] = {KalmanFilter1D(start[0], params.xParams), KalmanFilter1D(start[1], params.yParams),
                           KalmanFilter1D(start[2], params.wParams), KalmanFilter1D(start[3], params.hParams)};
  for (int step = 1; step <= 20; ++step) {
    const float t = 0.04F * static_cast<float>(step);
    const Box measured = boxAt(0.1F + 0.3F * t, -0.2F - 0.1F * t, 0.2F + 0.05F * t, 0.4F);
    const auto measurement = KalmanBoxFilter::measure(measured);
    box.predict(0.04F);
    if (step == 7) box.setObservationNoise(0.8F, 0.9F, "human");
    float likelihood = 1.0F, logLikelihood = 0.0F;
    for (std::size_t i = 0; i < 4; ++i) {
      axes[i].predict(0.04F);
      if (step == 7) axes[i].setObservationNoiseVariance(0.8F, 0.9F, "human");
      likelihood *= axes[i].observationLikelihood(measurement[i]);
      logLikelihood += axes[i].observationLogLikelihood(measurement[i]);
      step == 11 ? axes[i].updateNoFilter(measurement[i]) : axes[i].update(measurement[i]);
    }
    ASSERT_NEAR(box.observationLikelihood(measured) / likelihood, 1, 1e-6) << step;
    ASSERT_NEAR(box.observationLogLikelihood(measured), logLikelihood, 1e-6 * std::max(1.0F, std::abs(logLikelihood)));
    step == 11 ? box.updateNoFilter(measured) : box.update(measured);
  }
}

TEST(KalmanBoxFilter, ScaledGateCountsCentreOffsetsInWidths) {
  const KalmanBoxFilter filter(kBox, vanillaParams().kalmanParams);
  const Point radius = filter.getMaxPositionDifferenceScaled(2.0F);
  const auto accepts = [&](float x, float y, float scale) {
    return filter.canAssociateScaledDistance(boxAt(0.1F + x * radius.x, -0.2F + y * radius.y, 9.0F, 9.0F), scale);
  };
  EXPECT_TRUE(accepts(0.99F, 0.99F, 2.0F) && accepts(1.01F, 1.01F, 2.1F));
  EXPECT_FALSE(accepts(1.01F, 0.0F, 2.0F) || accepts(0.0F, 1.01F, 2.0F));
  EXPECT_FALSE(accepts(0.0F, 0.0F, 0.0F));  // 0 / 0
}

TEST(KalmanBoxFilter, StandsInputOutOfRange) {
  KalmanBoxFilter filter({0.3F, -0.1F, 0.1F, 0.2F}, vanillaParams().kalmanParams);  // inverted
  const Box box = filter.getBox(), least = boxAt(0.2F, 0.05F, 1e-6F, 1e-6F);
  EXPECT_NEAR((DenseKalman::edgesOf(box) - DenseKalman::edgesOf(least)).norm(), 0, 1e-7);
  EXPECT_FALSE(filter.canAssociate({NAN, 0.0F, 0.2F, -0.4F}));
  EXPECT_EQ(filter.observationLikelihood(boxAt(9.0F, 9.0F)), 0.0F);
  EXPECT_TRUE(std::isfinite(filter.observationLogLikelihood(boxAt(9.0F, 9.0F))));
  const ParameterMap negative = {{"vanilla.kalman.observationNoiseVarianceX", "-1"},
                                 {"vanilla.kalman.observationNoiseVarianceY", "-1"}};
  EXPECT_TRUE(std::isnan(KalmanBoxFilter(kBox, vanillaParams(negative).kalmanParams).observationLikelihood(kBox)));

  const float before = filter.getMaxPositionDifference().x;
  EXPECT_THROW(filter.predict(0.5F, {1, 1, 1}), std::invalid_argument);
  EXPECT_THROW(filter.setObservationNoise(0.9F, 0.9F, "car"), std::out_of_range);
  EXPECT_EQ(filter.getMaxPositionDifference().x, before);
}

TEST(ObservationNoise, FollowsObjectnessAndClassScore) {
  EXPECT_NEAR(calculateSigmoid(0.45F, {0.3F, 0.6F}), 0.05F, 1e-6);
  EXPECT_NEAR(calculateSigmoid(0.75F, {0.3F, 0.6F}), 0.95F, 1e-6);
  const ObjectnessParams params = {{0.3F, 0.6F}, {{"human", {0.1F, 0.5F}}}, 0.001F, 0.1F};
  const std::tuple<float, float, float> cases[] = {
      {100, 100, 1}, {-100, 1, 0}, {1, -100, 0}, {0.6F, 0.5F, 0.5F}, {0.45F, 0.5F, 0.158114F}};
  for (const auto& [iou, classScore, trust] : cases) {
    EXPECT_NEAR(calculateObservationNoise(iou, classScore, params, "human"), 0.1F - 0.099F * trust, 1e-6);
  }
}

// Rounding must neither add up over a long life nor stay after a pause, when the covariance has grown so much that
// little of its digits is left.
TEST(KalmanBoxFilter4D, FollowsTheTextbookFormForHours) {
  const KalmanBoxParams4D params =
      reidParams({{"reid.kalman4d.borderNoiseScaleFactor1", "5"}, {"reid.kalman4d.borderNoiseScaleFactor2", "3"}}, 1.8F)
          .kalmanParams;
  const Box middle = boxAt(-0.4F, 0.1F, 0.1F, 0.4F), small = boxAt(0.3F, 0.2F, 0.01F, 0.02F),
            large = boxAt(0, 0, 1.2F, 1.6F), atBorder = boxAt(-0.95F, 0, 0.1F, 0.4F),
            inCorner = boxAt(0.9F, 0.8F, 0.2F, 0.42F);
  std::vector<std::tuple<Box, float, int>> lives = {{middle, 0.1F, 200'000}};
  for (const Box& box : {middle, small, large, atBorder, inCorner}) {
    for (const float gap : {10.0F, 300.0F, 3600.0F}) lives.emplace_back(box, gap, 2500);
  }
  Dice dice(1);
  for (const auto& [start, gap, steps] : lives) {
    SCOPED_TRACE("left " + std::to_string(start.left) + ", gap " + std::to_string(gap));
    KalmanBoxFilter4D filter(start, params);
    DenseEdges dense(start, params);
    EXPECT_FALSE(filter.canAssociate(boxAt(9, 9)));  // even before it has a prediction
    for (int step = 0; step < steps; ++step) {
      const float dt = step % 1000 == 999 ? gap : dice.between(0.04F, 0.16F);
      filter.predict(dt);
      dense.predict(dt);
      const bool isSettled = step < 999 || gap <= 10 || (step + 1) % 1000 > 30;
      const DenseKalman::Noise s = entriesOf(filter.getInnovationCovariance()).cast<double>();
      ASSERT_LT((s - dense.s).norm(), (step < 999 ? 1e-5 : isSettled ? 5e-3 : 0.5) * dense.s.norm()) << step;
      const Box box = {start.left + width(start) * dice.between(-0.03F, 0.03F),
                       start.top + height(start) * dice.between(-0.03F, 0.03F),
                       start.right + width(start) * dice.between(-0.03F, 0.03F),
                       start.bottom + height(start) * dice.between(-0.03F, 0.03F)};
      if (step < 300) {
        ASSERT_NEAR(filter.mahalanobisDistance(box), dense.distance(box), 1e-3 * (1 + dense.distance(box)));
        const Eigen::Vector2d unit(0.5 * dt * dt, dt);
        for (int i = 0; i < 4; ++i) {
          const Eigen::Matrix2d noise = dense.processNoise()(i) * unit * unit.transpose();
          const Eigen::Matrix2f block = entriesOf(filter.getScaledQ(dt)).block<2, 2>(2 * i, 2 * i);
          ASSERT_NEAR((block.cast<double>() - noise).norm(), 0, 1e-3 * noise.norm());
        }
      }
      endFrame(filter, dense, box, dice);
      const double error = (DenseKalman::edgesOf(filter.getBox()) - dense.edges()).norm();
      ASSERT_LT(error, (isSettled ? 0.01 : 0.1) * width(start)) << step;
      if (isSettled) {
        ASSERT_NEAR(filter.getVelocity().x, dense.x(1), 0.02 * width(start));
        ASSERT_NEAR(filter.getVelocity().y, dense.x(3), 0.02 * height(start));
      }
    }
  }
}

TEST(KalmanBoxFilter4D, GivesEdgesAtTheBorderNoiseOfTheirOwn) {
  const KalmanBoxParams4D params =
      reidParams({{"reid.kalman4d.borderNoiseScaleFactor1", "5"}, {"reid.kalman4d.borderNoiseScaleFactor2", "3"}}, 2)
          .kalmanParams;
  // In units of the parameter, scaled to the width of the box.
  const std::pair<Box, Eigen::Vector4f> cases[] = {
      {{-0.9595F, 0.5F, -0.75F, 0.0F}, {1, 4, 1, 36}},  {{-0.9605F, 0.5F, -0.77F, 0.0F}, {5, 12, 3, 12}},
      {{-1.0395F, 0.5F, -0.83F, 0.0F}, {5, 12, 3, 12}}, {{-1.0405F, 0.5F, -0.85F, 0.0F}, {1, 4, 1, 36}},
      {{0.0F, 0.98F, 0.2F, -0.98F}, {3, 20, 3, 20}},    {{0.77F, 0.5F, 0.97F, 0.0F}, {3, 12, 5, 12}}};
  for (const auto& [box, expected] : cases) {
    const KalmanBoxFilter4D filter(box, params);
    const Eigen::Vector4f unit = Eigen::Vector4f::Constant(params.defaultObservationNoise * filter.sizeScalingFactor());
    EXPECT_NEAR((entriesOf(filter.getScaledR()).diagonal().cwiseQuotient(unit) - expected).norm(), 0, 1e-3) << box.left;
  }
}

TEST(KalmanBoxFilter4D, GatesByDistanceFromThePrediction) {
  KalmanBoxParams4D params = reidParams().kalmanParams;
  const auto predicted = [&params] {
    KalmanBoxFilter4D filter(boxAt(0, 0), params);
    filter.predict(0.1F);
    return filter;
  };
  const Box ahead = boxAt(0.1F, 0.05F, 0.22F, 0.44F);
  const float distance = predicted().mahalanobisDistance(ahead);
  for (const float margin : {-0.01F, 0.0F, 0.01F}) {
    params.mahalanobisLimit = distance + margin;
    EXPECT_EQ(predicted().canAssociate(ahead), margin >= 0.0F) << margin;
  }
  EXPECT_FALSE(predicted().canAssociate({NAN, 0, 0, 0}));
}

TEST(KalmanBoxFilter4D, AcceptsNoBoxBeyondItsReach) {
  const KalmanBoxParams4D params = reidParams({}, 1.8F).kalmanParams;
  // Far outside of the picture, the rounding of edges counts for more than the margin.
  for (const Box& start : {boxAt(0, 0), boxAt(2e4F, -3e4F)}) {
    KalmanBoxFilter4D filter(start, params);
    Dice dice(1);
    for (int step = 0; step < 300; ++step) {
      filter.predict(dice.between(0.04F, 0.16F));
      const Box from = filter.getBox();
      const Point reach = filter.getMaxEdgeOffset();
      const KalmanBoxFilter4D::EdgeMatrix s = filter.getInnovationCovariance();  // of left, top, right, bottom
      // Boxes whose one edge lies so far, and the other where it makes up for that best.
      const auto expectInReach = [&](float limit, auto boxAhead, auto offsetOf) {
        float accepted = 0, refused = 2 * limit;
        for (int halving = 0; halving < 30; ++halving) {
          const float middle = (accepted + refused) / 2;
          (filter.canAssociate(boxAhead(middle)) ? accepted : refused) = middle;
        }
        const float offset = offsetOf(boxAhead(accepted));
        ASSERT_TRUE(offset <= limit && offset > 0.9F * limit) << step << ": " << offset << " of " << limit;
      };
      const float sign = dice.happens(0.5F) ? 1.0F : -1.0F;
      expectInReach(
          reach.x,
          [&](float offset) {
            const float ahead = sign * offset;
            return Box{from.left + ahead, from.top, from.right + ahead * s(2, 0) / s(0, 0), from.bottom};
          },
          [&](const Box& box) { return std::abs(box.left - from.left); });
      expectInReach(
          reach.y,
          [&](float offset) {
            const float ahead = sign * offset;
            return Box{from.left, from.top + ahead * s(1, 3) / s(3, 3), from.right, from.bottom + ahead};
          },
          [&](const Box& box) { return std::abs(box.bottom - from.bottom); });
      const float shift = dice.between(-0.02F, 0.02F);  // so that the filtered edges lie between two floats
      filter.update(shifted(start, shift, shift));
    }
  }
}

}  // namespace nivra::test
