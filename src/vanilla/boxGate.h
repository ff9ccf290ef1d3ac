#pragma once

#include <algorithm>
#include <cmath>

#include "core/boxGeometry.h"
#include "core/hearing.h"
#include "matching/pointGrid.h"
#include "nivra/kalmanBoxFilter.h"
#include "nivra/trackerParams.h"

namespace nivra::vanilla {

/// How far the centre of a detection may lie to the side, in the smaller width of the two.
struct OffsetLimit {
  float widths;
  Rule rule = Rule::horizontalOffset;  // whose limit it is
};

/// The gates by which a track compares its box, clamped to the picture, with detections: how far their centres lie
/// apart, in sizes of the smaller one, and how much their sizes differ.
///
/// Each gate is written so that a value that is not a number passes; the box filter's gate, which comes after these,
/// refuses it.
class BoxGate {
 public:
  // Made once a track and frame; where explanations make it, too, compilers stop inlining it, which costs an eighth of
  // a small frame.
  [[gnu::always_inline]] BoxGate(const KalmanBoxFilter& filter, const TrackerParams& trackerParams)
      : box(KalmanBoxFilter::measure(clampedToPicture(filter.getBox()))), params(trackerParams) {}

  template <class Hear>
  bool accepts(const KalmanBoxFilter::Measurement& detection, const OffsetLimit& offsetLimit, Hear&& hear) const {
    const auto isWithin = [&hear](Rule rule, float limit, float figure) {
      return hear(rule, figure, limit, !(limit < figure));
    };
    const auto [x, y, w, h] = detection;
    const auto [trackX, trackY, trackWidth, trackHeight] = box;
    return isWithin(offsetLimit.rule, offsetLimit.widths, std::abs(x - trackX) / std::min(trackWidth, w)) &&
           isWithin(Rule::verticalOffset, params.heightFactorGating, std::abs(y - trackY) / std::min(trackHeight, h)) &&
           isWithin(Rule::widthChange, params.widthRelativeDiffGating, std::abs(w / trackWidth - 1.0F)) &&
           isWithin(Rule::heightChange, params.heightRelativeDiffGating, std::abs(h / trackHeight - 1.0F));
  }

  /// Whether `reach` holds for a detection of this size. A size of 0 or less, which no offset exceeds, has no reach.
  static bool isInReach(float width, float height) { return width > 0.0F && height > 0.0F; }

  /// Where the centres of accepted detections lie: for positive sizes a gate bounds the offset by the limit times the
  /// smaller size, and so by the limit times the track's.
  ///
  /// The quotient that passes is rounded once and the product here twice, so the margin must exceed 3 times 2^-24, or
  /// 1.8e-7. Quotients and products in the denormal range are off by up to 1.5e-45 of a size, which is at most 2.
  Window reach(float widthFactorLimit) const {
    constexpr float kMargin = 1.0001F;
    constexpr float kLeast = 1e-30F;
    const auto [x, y, w, h] = box;
    if (!(isInReach(w, h) && widthFactorLimit >= 0.0F && params.heightFactorGating >= 0.0F)) return kEverywhere;
    const float horizontal = widthFactorLimit * w * kMargin + kLeast;
    const float vertical = params.heightFactorGating * h * kMargin + kLeast;
    return {{x, y}, horizontal, vertical};
  }

 private:
  KalmanBoxFilter::Measurement box;
  const TrackerParams& params;
};

}  // namespace nivra::vanilla
