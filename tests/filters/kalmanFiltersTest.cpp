#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "nivra/kalmanBoxFilter.h"
#include "nivra/kalmanBoxFilter4D.h"
#include "support/denseKalman.h"
#include "support/detections.h"

namespace nivra::test {

const Box kBox = boxAt(0.1F, -0.2F);

TEST(KalmanBoxFilter, FollowsTheTextbookForm) {
  const KalmanBoxParams params = vanillaParams({{"vanilla.kalman.objectnessClasses", "human,0.5"}}).kalmanParams;
  const KalmanParams1d axes[] = {params.xParams, params.yParams, params.wParams, params.hParams};
  KalmanBoxFilter filter(kBox, params);
  DenseKalman oracle{DenseKalman::centreAndSizeOf};
  DenseKalman::Vector q, r;
  oracle.place(kBox);
  for (int i = 0; i < 4; ++i) {
    q(i) = axes[i].processNoiseVariance;
    r(i) = axes[i].observationNoiseVariance;
    oracle.p(2 * i, 2 * i) = axes[i].initialVariance;
    oracle.p(2 * i + 1, 2 * i + 1) = axes[i].initialVelocityVariance;
    oracle.h(i, 2 * i) = 1;
  }
  for (int step = 0; step < 500; ++step) {
    SCOPED_TRACE(step);
    if (step % 5 == 0) {
      const float iou = oracle.upTo(1), score = oracle.upTo(1);
      filter.setObservationNoise(iou, score, "human");
      for (int i = 0; i < 4; ++i) r(i) = calculateObservationNoise(iou, score, axes[i].objectnessParams, "human");
    }
    const float dt = 0.02F + oracle.upTo(0.1F);
    const std::vector<float> scales = {oracle.upTo(6), oracle.upTo(6), oracle.upTo(6), oracle.upTo(6), 99};
    step % 2 == 0 ? filter.predict(dt, scales) : filter.predict(dt);
    const DenseKalman::Vector factors = Eigen::Vector4f(scales.data()).cast<double>();
    oracle.predict(dt, step % 2 == 0 ? q.cwiseProduct(factors) : q);

    const Box box = boxAt(oracle.upTo(0.2F), oracle.upTo(0.2F), 0.3F + oracle.upTo(0.2F), 0.3F + oracle.upTo(0.2F));
    const DenseKalman::Matrix s = oracle.innovation(r);
    const double distance = oracle.squaredDistance(box, s);
    const double logLikelihood = -0.5 * (distance + std::log((2 * M_PI * s).determinant()));
    ASSERT_NEAR(filter.observationLogLikelihood(box), logLikelihood, 1e-3 + 1e-4 * distance);
    const double likelihood = std::exp(logLikelihood);
    ASSERT_NEAR(filter.observationLikelihood(box), likelihood, (1e-3 + 1e-4 * distance) * likelihood + 1e-30);
    ASSERT_NEAR(filter.getMaxPositionDifference().x, std::sqrt(12.115665 * s(0, 0)), 1e-5);
    ASSERT_NEAR(filter.getMaxPositionDifferenceScaled(3).y, std::sqrt(12.115665 * s(1, 1)) * 3 * oracle.x(4), 1e-4);
    for (const double share : {0.999, 1.001}) {
      const DenseKalman::Vector offset = oracle.residual(box) * std::sqrt(19.997355 * share / distance);
      const Eigen::Vector4f gate = (oracle.h * oracle.x + offset).cast<float>();
      ASSERT_EQ(filter.canAssociate(boxAt(gate(0), gate(1), gate(2), gate(3))), share < 1);
    }
    ASSERT_NO_FATAL_FAILURE(oracle.endFrame(filter, box, s));
  }
}

TEST(KalmanBoxFilter, IsFourFiltersOfOneCoordinateToTheLastBit) {
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
    ASSERT_TRUE(box.observationLikelihood(measured) == likelihood &&
                box.observationLogLikelihood(measured) == logLikelihood)
        << step;
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

TEST(KalmanBoxFilter4D, FollowsTheTextbookForm) {
  const KalmanBoxParams4D params = reidParams({}, 16.0F / 9).kalmanParams;
  const Box start = boxAt(-0.4F, 0.1F, 0.15F, 0.5F);
  KalmanBoxFilter4D filter(start, params);
  DenseKalman oracle{DenseKalman::edgesOf};
  oracle.place(start);
  const auto sizeFactor = [&](double dt) { return std::pow((oracle.x(4) + dt * oracle.x(5)) / 0.2, 2); };
  oracle.h << 1, 0, 0, 0, -.5, 0, 0, 0, 0, 0, 1, 0, 0, 0, .5, 0, 1, 0, 0, 0, .5, 0, 0, 0, 0, 0, 1, 0, 0, 0, -.5, 0;
  oracle.p.diagonal() << params.initialVarianceX, params.initialVelocityVarianceX, params.initialVarianceY,
      params.initialVelocityVarianceY, params.initialVarianceW, params.initialVelocityVarianceX,
      params.initialVarianceH, params.initialVelocityVarianceY;
  oracle.p *= sizeFactor(0);
  const DenseKalman::Vector q(params.processNoiseVarianceX, params.processNoiseVarianceY, params.processNoiseVarianceW,
                              params.processNoiseVarianceH);
  const double a2 = params.aspectRatioSquared;
  const DenseKalman::Vector r = DenseKalman::Vector(1, a2, 1, a2 * 9) * params.defaultObservationNoise;
  EXPECT_FALSE(filter.canAssociate(boxAt(9, 9)));  // even before it has a prediction

  for (int step = 0; step < 300; ++step) {
    SCOPED_TRACE(step);
    const float dt = 0.02F + oracle.upTo(0.1F);
    filter.predict(dt);
    oracle.predict(dt, q * sizeFactor(dt));
    const DenseKalman::Matrix s = oracle.innovation(r * sizeFactor(0));
    ASSERT_NEAR((filter.getInnovationCovariance().cast<double>() - s).norm(), 0, 1e-3 * s.norm());
    const Eigen::Vector2d unit(0.5 * dt * dt, dt);
    for (int i = 0; i < 4; ++i) {
      const Eigen::Matrix2d noise = q(i) * sizeFactor(0) * unit * unit.transpose();
      const Eigen::Matrix2f block = filter.getScaledQ(dt).block<2, 2>(2 * i, 2 * i);
      ASSERT_NEAR((block.cast<double>() - noise).norm(), 0, 1e-3 * noise.norm());
    }
    const Box box = boxAt(oracle.upTo(0.2F), oracle.upTo(0.2F), 0.15F + oracle.upTo(0.05F), 0.5F + oracle.upTo(0.1F));
    const double distance = std::sqrt(oracle.squaredDistance(box, s));
    ASSERT_NEAR(filter.mahalanobisDistance(box), distance, 1e-3 * (1 + distance));
    ASSERT_NO_FATAL_FAILURE(oracle.endFrame(filter, box, s));
  }
}

TEST(KalmanBoxFilter4D, GivesEdgesAtTheBorderNoiseOfTheirOwn) {
  const KalmanBoxParams4D params =
      reidParams({{"reid.kalman4d.borderNoiseScaleFactor1", "5"}, {"reid.kalman4d.borderNoiseScaleFactor2", "3"}}, 2)
          .kalmanParams;
  // In units of the parameter, scaled to the width of the box.
  const std::pair<Box, Eigen::Vector4f> cases[] = {
      {{-0.955F, 0.5F, -0.75F, 0.0F}, {1, 4, 1, 36}},  {{-0.965F, 0.5F, -0.77F, 0.0F}, {5, 12, 3, 12}},
      {{-1.035F, 0.5F, -0.83F, 0.0F}, {5, 12, 3, 12}}, {{-1.045F, 0.5F, -0.85F, 0.0F}, {1, 4, 1, 36}},
      {{0.0F, 0.98F, 0.2F, -0.98F}, {3, 20, 3, 20}},   {{0.77F, 0.5F, 0.97F, 0.0F}, {3, 12, 5, 12}}};
  for (const auto& [box, expected] : cases) {
    const KalmanBoxFilter4D filter(box, params);
    const Eigen::Vector4f unit = Eigen::Vector4f::Constant(params.defaultObservationNoise * filter.sizeScalingFactor());
    EXPECT_NEAR((filter.getScaledR().diagonal().cwiseQuotient(unit) - expected).norm(), 0, 1e-3) << box.left;
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

}  // namespace nivra::test
