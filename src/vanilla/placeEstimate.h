#pragma once

#include <cmath>
#include <cstddef>
#include <limits>

#include "filters/axisFilter.h"
#include "matching/greedyMatching.h"
#include "nivra/kalmanBoxFilter.h"

namespace nivra::vanilla {

/// Where a track's pairs stand in the order of matching, told without roots and exponentials: by minus the logarithm of
/// the likelihood, tentative tracks after all others.
///
/// Holds for pairs that pass the box filter's gate. Its distance is at most 20 then, so that rounding, here and in the
/// likelihood itself, moves a place by less than 1e-5, and with usual variances every place is within 100 of zero and
/// no likelihood underflows.
class PlaceEstimate {
 public:
  PlaceEstimate(const KalmanBoxFilter& filter, bool isTentative)
      : value(filter.getAxes().value), start(isTentative ? kTentative : 0.0) {
    const KalmanBoxFilter::Measurement variances = internal::innovationCovariances(filter.getAxes());
    for (std::size_t i = 0; i < variances.size(); ++i) {
      const bool isUsual = kLeastVariance < variances[i] && variances[i] < 1.0F / kLeastVariance;
      halfReciprocal[i] = isUsual ? 0.5F / variances[i] : std::numeric_limits<float>::quiet_NaN();
      start += 0.5 * std::log(static_cast<double>(variances[i]) * internal::kTwoPi);
    }
  }

  GreedyMatching::PlaceRange rangeOf(const KalmanBoxFilter::Measurement& measurement) const {
    KalmanBoxFilter::Measurement terms;
    for (std::size_t i = 0; i < terms.size(); ++i) {
      const float residual = measurement[i] - value[i];
      terms[i] = residual * residual * halfReciprocal[i];
    }
    const double place = start + static_cast<double>((terms[0] + terms[1]) + (terms[2] + terms[3]));
    return {place - kMargin, place + kMargin};
  }

 private:
  static constexpr float kLeastVariance = 1e-15F;  // beyond it, or its reciprocal, nothing is told
  static constexpr double kTentative = 1000.0;
  static constexpr double kMargin = 1e-4;

  KalmanBoxFilter::Measurement value;
  KalmanBoxFilter::Measurement halfReciprocal;
  double start;
};

}  // namespace nivra::vanilla
