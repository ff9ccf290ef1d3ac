#include "nivra/kalmanBoxFilter.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "core/boxGeometry.h"

namespace nivra {

namespace {

// 0.9995 quantiles of the chi-square distribution.
constexpr float kChiSquareQuantile4Axes = 19.997355F;
constexpr float kChiSquareQuantile1Axis = 12.115665F;

constexpr float kMinimumSize = 1e-6F;
constexpr std::size_t kAxes = 4;

float squared(float x) { return x * x; }

}  // namespace

KalmanBoxFilter::KalmanBoxFilter(const Box& box, const KalmanBoxParams& params)
    : filterX(center(box).x, params.xParams),
      filterY(center(box).y, params.yParams),
      filterW(width(box), params.wParams),
      filterH(height(box), params.hParams) {}

void KalmanBoxFilter::predict(float dt) {
  filterX.predict(dt);
  filterY.predict(dt);
  filterW.predict(dt);
  filterH.predict(dt);
}

void KalmanBoxFilter::predict(float dt, const std::vector<float>& processNoiseScales) {
  if (processNoiseScales.size() < kAxes) {
    throw std::invalid_argument("KalmanBoxFilter::predict needs 4 process noise scales, got " +
                                std::to_string(processNoiseScales.size()));
  }
  filterX.predict(dt, processNoiseScales[0]);
  filterY.predict(dt, processNoiseScales[1]);
  filterW.predict(dt, processNoiseScales[2]);
  filterH.predict(dt, processNoiseScales[3]);
}

bool KalmanBoxFilter::canAssociate(const Box& box) const {
  const Point boxCenter = center(box);
  const auto distance = [](const KalmanFilter1D& filter, float measurement) {
    return squared(filter.value - measurement) / filter.getInnovationCovariance();
  };
  const float total = distance(filterX, boxCenter.x) + distance(filterY, boxCenter.y) + distance(filterW, width(box)) +
                      distance(filterH, height(box));
  return total <= kChiSquareQuantile4Axes;
}

bool KalmanBoxFilter::canAssociateScaledDistance(const Box& box, float scale) const {
  const Point boxCenter = center(box);
  const float unit = scale * filterW.value;
  const auto accepts = [unit](const KalmanFilter1D& filter, float measurement) {
    return squared((filter.value - measurement) / unit) / filter.getInnovationCovariance() <= kChiSquareQuantile1Axis;
  };
  return accepts(filterX, boxCenter.x) && accepts(filterY, boxCenter.y);
}

float KalmanBoxFilter::observationLikelihood(const Box& box) const {
  const Point boxCenter = center(box);
  return filterX.observationLikelihood(boxCenter.x) * filterY.observationLikelihood(boxCenter.y) *
         filterW.observationLikelihood(width(box)) * filterH.observationLikelihood(height(box));
}

float KalmanBoxFilter::observationLogLikelihood(const Box& box) const {
  const Point boxCenter = center(box);
  return filterX.observationLogLikelihood(boxCenter.x) + filterY.observationLogLikelihood(boxCenter.y) +
         filterW.observationLogLikelihood(width(box)) + filterH.observationLogLikelihood(height(box));
}

void KalmanBoxFilter::setObservationNoise(float iou, float classScore, const std::string& label) {
  filterX.setObservationNoiseVariance(iou, classScore, label);
  filterY.setObservationNoiseVariance(iou, classScore, label);
  filterW.setObservationNoiseVariance(iou, classScore, label);
  filterH.setObservationNoiseVariance(iou, classScore, label);
}

bool KalmanBoxFilter::hasObjectnessSettings(const std::string& label) const {
  const auto knows = [&label](const KalmanFilter1D& filter) {
    return filter.objectnessParams.classSigmoids.count(label) != 0;
  };
  return knows(filterX) && knows(filterY) && knows(filterW) && knows(filterH);
}

void KalmanBoxFilter::update(const Box& box) {
  const Point boxCenter = center(box);
  filterX.update(boxCenter.x);
  filterY.update(boxCenter.y);
  filterW.update(width(box));
  filterH.update(height(box));
}

void KalmanBoxFilter::updateNoFilter(const Box& box) {
  const Point boxCenter = center(box);
  filterX.updateNoFilter(boxCenter.x);
  filterY.updateNoFilter(boxCenter.y);
  filterW.updateNoFilter(width(box));
  filterH.updateNoFilter(height(box));
}

void KalmanBoxFilter::emptyUpdate() {
  filterW.velocity = 0.0F;
  filterH.velocity = 0.0F;
}

Box KalmanBoxFilter::getBox() const {
  const float w = std::max(filterW.value, kMinimumSize);
  const float h = std::max(filterH.value, kMinimumSize);
  return {filterX.value - w * 0.5F, filterY.value + h * 0.5F, filterX.value + w * 0.5F, filterY.value - h * 0.5F};
}

Point KalmanBoxFilter::getVelocity() const { return {filterX.velocity, filterY.velocity}; }

Point KalmanBoxFilter::getMaxPositionDifference() const {
  return {std::sqrt(filterX.getInnovationCovariance() * kChiSquareQuantile1Axis),
          std::sqrt(filterY.getInnovationCovariance() * kChiSquareQuantile1Axis)};
}

Point KalmanBoxFilter::getMaxPositionDifferenceScaled(float scale) const {
  const Point difference = getMaxPositionDifference();
  const float unit = scale * filterW.value;
  return {difference.x * unit, difference.y * unit};
}

}  // namespace nivra
