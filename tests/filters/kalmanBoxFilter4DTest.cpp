#include "nivra/kalmanBoxFilter4D.h"

#include <gtest/gtest.h>

#include <Eigen/LU>
#include <cmath>
#include <cstddef>

#include "support/detections.h"

namespace nivra {
namespace {

using test::boxAt;

// A host may compile for wider vectors than the library: its copy of the layout must be the same.
static_assert(alignof(KalmanBoxFilter4D) == alignof(float));
static_assert(sizeof(KalmanBoxFilter4D) == sizeof(float) * (17 + 8 + 64 + 64 + 32 + 32 + 16 + 16 + 4));

KalmanBoxParams4D parametersFor(float aspectRatio, ParameterMap params = {}) {
  return parseKalman4DParameters(params, "reid", aspectRatio);
}

/// The filter in textbook form and double precision.
struct DenseFilter {
  using Matrix = Eigen::MatrixXd;
  Matrix x = Matrix::Zero(8, 1), p = Matrix::Zero(8, 8), h = Matrix::Zero(4, 8);

  static Matrix edges(const Box& b) { return Eigen::Vector4f(b.left, b.top, b.right, b.bottom).cast<double>(); }

  DenseFilter(const Box& box, const KalmanBoxParams4D& q) {
    h << 1, 0, 0, 0, -.5, 0, 0, 0, 0, 0, 1, 0, 0, 0, .5, 0, 1, 0, 0, 0, .5, 0, 0, 0, 0, 0, 1, 0, 0, 0, -.5, 0;
    x << (box.left + box.right) / 2, 0, (box.top + box.bottom) / 2, 0, box.right - box.left, 0, box.top - box.bottom, 0;
    p.diagonal() << q.initialVarianceX, q.initialVelocityVarianceX, q.initialVarianceY, q.initialVelocityVarianceY,
        q.initialVarianceW, q.initialVelocityVarianceX, q.initialVarianceH, q.initialVelocityVarianceY;
    p *= scale();
  }
  double scale() const { return x(4) * x(4) / 0.04; }
  Matrix predict(double dt, const KalmanBoxParams4D& q) {
    Matrix f = Matrix::Identity(8, 8), noise = Matrix::Zero(8, 8);
    const float axis[] = {q.processNoiseVarianceX, q.processNoiseVarianceY, q.processNoiseVarianceW,
                          q.processNoiseVarianceH};
    Eigen::Vector2d g(dt * dt / 2, dt);
    for (int i = 0; i < 4; ++i) {
      f(2 * i, 2 * i + 1) = dt;
      noise.block(2 * i, 2 * i, 2, 2) = static_cast<double>(axis[i]) * g * g.transpose();
    }
    x = f * x;
    p = f * p * f.transpose() + scale() * noise;
    Eigen::Vector4d r(1, q.aspectRatioSquared, 1, q.aspectRatioSquared * q.observationNoiseBottomDeviation);
    return h * p * h.transpose() + Matrix(r.asDiagonal()) * q.defaultObservationNoise * scale();
  }
  void update(const Box& box, const Matrix& s) {
    const Matrix k = p * h.transpose() * s.inverse();
    x += k * (edges(box) - h * x);
    p -= k * h * p;
  }
};

TEST(KalmanBoxFilter4D, FollowsTheTextbookForm) {
  const KalmanBoxParams4D params = parametersFor(16.0F / 9);
  const Box start = boxAt(-0.4F, 0.1F, 0.15F, 0.5F);
  KalmanBoxFilter4D filter(start, params);
  DenseFilter oracle(start, params);
  EXPECT_FALSE(filter.canAssociate(boxAt(9, 9, 0.1F, 0.1F)));
  for (int step = 1; step <= 100; ++step) {
    const float dt = step % 5 == 0 ? 0.08F : 0.04F;
    filter.predict(dt);
    const Eigen::MatrixXd s = oracle.predict(static_cast<double>(dt), params);
    const float t = 0.04F * static_cast<float>(step);
    const Box box = boxAt(-0.4F + 0.2F * t, 0.1F - 0.05F * t, 0.15F + 0.01F * std::sin(t), 0.5F);
    const Eigen::MatrixXd r = DenseFilter::edges(box) - oracle.h * oracle.x;
    ASSERT_NEAR(filter.mahalanobisDistance(box), std::sqrt((r.transpose() * s.inverse() * r)(0)), 1e-2) << step;
    ASSERT_NEAR((filter.getInnovationCovariance().cast<double>() - s).norm() / s.norm(), 0, 1e-4) << step;
    if (step % 7 == 0) continue;
    filter.update(box);
    oracle.update(box, s);
    ASSERT_NEAR((DenseFilter::edges(filter.getBox()) - oracle.h * oracle.x).norm(), 0, 1e-4) << step;
    ASSERT_NEAR(filter.getVelocity().x, oracle.x(1), 1e-3);
    ASSERT_NEAR(filter.getVelocity().y, oracle.x(3), 1e-3);
  }
}

TEST(KalmanBoxFilter4D, ScalesAllNoiseWithTheSquareOfTheWidth) {
  const KalmanBoxParams4D params = parametersFor(2.0F);
  const KalmanBoxFilter4D narrow(boxAt(0, 0, 0.2F, 0.4F), params);
  const KalmanBoxFilter4D wide(boxAt(0, 0, 0.4F, 0.4F), params);
  EXPECT_FLOAT_EQ(narrow.sizeScalingFactor(), 1.0F);
  EXPECT_TRUE(wide.getInnovationCovariance().isApprox(4 * narrow.getInnovationCovariance()));
  EXPECT_TRUE(wide.getScaledQ(0.5F).isApprox(4 * narrow.getScaledQ(0.5F)));
  EXPECT_TRUE(wide.getScaledR().isApprox(4 * narrow.getScaledR()));
  const auto q = narrow.getScaledQ(0.5F);
  EXPECT_FLOAT_EQ(q(0, 0), 0.2F * 0.0625F / 4);
  EXPECT_FLOAT_EQ(q(2, 3), 0.4816F * 0.125F / 2);
  EXPECT_FLOAT_EQ(q(7, 7), 0.32088F * 0.25F);
  EXPECT_EQ(q(0, 2), 0.0F);
}

TEST(KalmanBoxFilter4D, GivesEdgesAtTheBorderNoiseOfTheirOwn) {
  const KalmanBoxParams4D params = parametersFor(
      2.0F, {{"reid.kalman4d.borderNoiseScaleFactor1", "5"}, {"reid.kalman4d.borderNoiseScaleFactor2", "3"}});
  const float d = params.defaultObservationNoise;
  const struct {
    Box box;
    Eigen::Vector4f expected;  // in units of d, scaled to the width of the box
  } cases[] = {
      {{-0.95F, 0.5F, -0.75F, 0.0F}, {1, 4, 1, 36}},
      {{-0.97F, 0.5F, -0.77F, 0.0F}, {5, 12, 3, 12}},
      {{-1.03F, 0.5F, -0.83F, 0.0F}, {5, 12, 3, 12}},
      {{-1.05F, 0.5F, -0.85F, 0.0F}, {1, 4, 1, 36}},
      {{0.0F, 0.98F, 0.2F, -0.98F}, {3, 20, 3, 20}},
      {{0.77F, 0.5F, 0.97F, 0.0F}, {3, 12, 5, 12}},
      {{std::nanf(""), 0.5F, 0.0F, 0.0F}, Eigen::Vector4f::Constant(std::nanf(""))},
  };
  for (const auto& c : cases) {
    const KalmanBoxFilter4D filter(c.box, params);
    const Eigen::Vector4f noise = filter.getScaledR().diagonal() / (d * filter.sizeScalingFactor());
    for (int i = 0; i < 4; ++i) {
      EXPECT_TRUE(std::isnan(c.expected[i]) ? std::isnan(noise[i]) : std::abs(noise[i] - c.expected[i]) < 1e-3F)
          << c.box.left << ": " << noise.transpose();
    }
  }
}

TEST(KalmanBoxFilter4D, GatesCoastsAndSetsWithoutFiltering) {
  const Box start = boxAt(0, 0, 0.2F, 0.4F);
  KalmanBoxParams4D params = parametersFor(1.0F);
  KalmanBoxFilter4D filter(start, params);
  const Box ahead = boxAt(0.1F, 0.05F, 0.22F, 0.44F);
  filter.predict(0.1F);
  EXPECT_EQ(filter.mahalanobisDistance(filter.getBox()), 0.0F);
  const float distance = filter.mahalanobisDistance(ahead);
  for (const float margin : {-0.01F, 0.0F, 0.01F}) {
    params.mahalanobisLimit = distance + margin;
    KalmanBoxFilter4D limited(start, params);
    limited.predict(0.1F);
    EXPECT_EQ(limited.canAssociate(ahead), margin >= 0.0F) << margin;
  }
  EXPECT_FALSE(filter.canAssociate({std::nanf(""), 0, 0, 0}));

  filter.update(ahead);
  filter.emptyUpdate();
  const Box before = filter.getBox();
  filter.predict(0.5F);
  const Box after = filter.getBox();
  EXPECT_NEAR(after.left - before.left, 0.5F * filter.getVelocity().x, 1e-6);
  EXPECT_NEAR(after.top - before.top, 0.5F * filter.getVelocity().y, 1e-6);
  EXPECT_NEAR(after.right - after.left, before.right - before.left, 1e-6);
  EXPECT_GT(filter.getVelocity().x, 0.0F);

  const float velocity = filter.getVelocity().x;
  filter.updateNoFilter(start);
  EXPECT_NEAR(filter.getBox().left, start.left, 1e-6);
  EXPECT_EQ(filter.getVelocity().x, velocity);
}

}  // namespace
}  // namespace nivra
