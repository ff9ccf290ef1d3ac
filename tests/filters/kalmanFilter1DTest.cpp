#include "nivra/kalmanFilter1D.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <stdexcept>

namespace nivra {
namespace {

const KalmanParams1d kParams = {0.05F, 0.01F, 0.02F, 0.3F, {}};

/// The textbook filter in matrix form and double precision.
struct MatrixFilter {
  using Matrix = std::array<std::array<double, 2>, 2>;
  double value, velocity = 0.0;
  Matrix p = {{{0.02, 0.0}, {0.0, 0.3}}};

  static Matrix times(const Matrix& a, const Matrix& b) {
    Matrix c{};
    for (std::size_t i = 0; i < 2; ++i)
      for (std::size_t j = 0; j < 2; ++j) c[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j];
    return c;
  }
  void predict(double dt, double q) {
    value += dt * velocity;
    const Matrix f = {{{1.0, dt}, {0.0, 1.0}}};
    const Matrix ft = {{{1.0, 0.0}, {dt, 1.0}}};
    p = times(times(f, p), ft);
    p[0][0] += q * dt * dt * dt * dt / 4;
    p[0][1] += q * dt * dt * dt / 2;
    p[1][0] = p[0][1];
    p[1][1] += q * dt * dt;
  }
  void update(double z, double r) {
    const double s = p[0][0] + r;
    const double k0 = p[0][0] / s;
    const double k1 = p[1][0] / s;
    const double residual = z - value;
    value += k0 * residual;
    velocity += k1 * residual;
    p = times({{{1.0 - k0, 0.0}, {-k1, 1.0}}}, p);
  }
};

TEST(KalmanFilter1D, FollowsTheMatrixForm) {
  KalmanFilter1D filter(0.3F, kParams);
  MatrixFilter oracle{0.3};
  for (int step = 0; step < 200; ++step) {
    const float dt = 0.02F + 0.01F * static_cast<float>(step % 7);
    const float scale = step % 3 == 0 ? 6.0F : 1.0F;
    filter.predict(dt, scale);
    oracle.predict(static_cast<double>(dt), 0.05 * static_cast<double>(scale));
    const float measurement = 0.3F + 0.2F * std::sin(0.1F * static_cast<float>(step));
    const double s = oracle.p[0][0] + 0.01;
    const double residual = static_cast<double>(measurement) - oracle.value;
    ASSERT_NEAR(filter.getInnovationCovariance(), s, 1e-5);
    ASSERT_NEAR(filter.observationLogLikelihood(measurement),
                -residual * residual / (2 * s) - 0.5 * std::log(s * 2 * M_PI), 1e-3);
    ASSERT_NEAR(filter.observationLikelihood(measurement), std::exp(filter.observationLogLikelihood(measurement)),
                1e-4);
    if (step % 4 == 0) continue;
    filter.update(measurement);
    oracle.update(static_cast<double>(measurement), 0.01);
  }
}

TEST(KalmanFilter1D, PredictsWithScaledNoiseOrNone) {
  KalmanFilter1D still(1.0F, kParams);
  const float before = still.getInnovationCovariance();
  EXPECT_EQ(before, 0.02F + 0.01F);
  still.predict(0.0F);
  EXPECT_EQ(still.getInnovationCovariance(), before);

  KalmanFilter1D noiseless(1.0F, kParams);
  noiseless.predict(2.0F, 0.0F);  // the unknown velocity alone: 2^2 * 0.3
  EXPECT_FLOAT_EQ(noiseless.getInnovationCovariance(), before + 1.2F);
  KalmanFilter1D noisy(1.0F, kParams);
  noisy.predict(2.0F);  // and 2^4 / 4 * 0.05 of process noise
  EXPECT_FLOAT_EQ(noisy.getInnovationCovariance(), before + 1.2F + 0.2F);
}

TEST(KalmanFilter1D, SetsAValueWithoutFiltering) {
  KalmanFilter1D filter(0.0F, kParams);
  filter.predict(0.1F);
  filter.update(0.5F);
  const float covariance = filter.getInnovationCovariance();
  filter.updateNoFilter(-0.25F);
  EXPECT_EQ(filter.getInnovationCovariance(), covariance);
  // The density peaks where the value is.
  EXPECT_GT(filter.observationLikelihood(-0.25F), filter.observationLikelihood(-0.25F + 1e-3F));
  EXPECT_EQ(filter.observationLikelihood(-0.25F + 0.125F), filter.observationLikelihood(-0.25F - 0.125F));
  EXPECT_EQ(filter.observationLikelihood(90.0F), 0.0F);
  EXPECT_TRUE(std::isfinite(filter.observationLogLikelihood(90.0F)));
}

TEST(ObservationNoise, FollowsObjectnessAndClassScore) {
  const SigmoidParams sigmoid = {0.3F, 0.6F};
  EXPECT_FLOAT_EQ(calculateSigmoid(0.6F, sigmoid), 0.5F);
  EXPECT_NEAR(calculateSigmoid(0.45F, sigmoid), 0.05F, 1e-6);
  EXPECT_NEAR(calculateSigmoid(0.75F, sigmoid), 0.95F, 1e-6);

  const ObjectnessParams params = {{0.3F, 0.6F}, {{"human", {0.1F, 0.5F}}}, 0.001F, 0.1F};
  EXPECT_NEAR(calculateObservationNoise(100.0F, 100.0F, params, "human"), 0.001F, 1e-7);
  EXPECT_NEAR(calculateObservationNoise(-100.0F, 1.0F, params, "human"), 0.1F, 1e-7);
  EXPECT_NEAR(calculateObservationNoise(1.0F, -100.0F, params, "human"), 0.1F, 1e-7);
  EXPECT_NEAR(calculateObservationNoise(0.6F, 0.5F, params, "human"), 0.1F - 0.099F * 0.5F, 1e-7);
  // The geometric mean of 0.05 and 0.5.
  EXPECT_NEAR(calculateObservationNoise(0.45F, 0.5F, params, "human"), 0.1F - 0.099F * 0.158114F, 1e-6);

  KalmanFilter1D filter(0.0F, {0.05F, 0.01F, 0.02F, 0.3F, params});
  EXPECT_THROW(filter.setObservationNoiseVariance(0.9F, 0.9F, "car"), std::out_of_range);
  EXPECT_EQ(filter.getInnovationCovariance(), 0.02F + 0.01F);
  filter.setObservationNoiseVariance(0.6F, 0.5F, "human");
  EXPECT_NEAR(filter.getInnovationCovariance(), 0.02F + 0.0505F, 1e-7);
}

}  // namespace
}  // namespace nivra
