#pragma once

#include "core/hearing.h"
#include "nivra/kalmanBoxFilter.h"
#include "nivra/kalmanBoxFilter4D.h"

namespace nivra {

/// Whether a box is near enough to the prediction of a filter, with all that it measures taken together.
template <class Hear>
bool isNearPrediction(const KalmanBoxFilter& filter, const KalmanBoxFilter::Measurement& measurement, Hear&& hear) {
  constexpr float kChiSquareQuantile = 19.997355F;  // 0.9995, of four axes
  const float distance = filter.squaredDistance(measurement);
  return hear(Rule::filterDistance, distance, kChiSquareQuantile, distance <= kChiSquareQuantile);
}

template <class Hear>
bool isNearPrediction(const KalmanBoxFilter4D& filter, const Box& box, Hear&& hear) {
  const float distance = filter.mahalanobisDistance(box);
  const float limit = filter.getMahalanobisLimit();
  return hear(Rule::edgeDistance, distance, limit, limit >= distance);
}

}  // namespace nivra
