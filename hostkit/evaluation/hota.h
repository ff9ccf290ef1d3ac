#pragma once

#include <array>

#include "hostkit/evaluation/comparison.h"
#include "hostkit/evaluation/thresholds.h"

namespace nivra::hostkit {

/// Higher Order Tracking Accuracy (Luiten et al., IJCV 2021): detection and association at 19 thresholds of overlap.
///
/// It keeps sums, so that those of several sequences add up to the figures of all; figures are fractions.
class Hota {
 public:
  using PerThreshold = std::array<double, kHotaThresholds>;

  Hota() = default;
  explicit Hota(const Comparison& comparison);
  Hota& operator+=(const Hota& other);

  const PerThreshold& truePositives() const { return found; }
  PerThreshold falseNegatives() const;
  PerThreshold falsePositives() const;
  PerThreshold hota() const;  // sqrt(detA * assA)
  PerThreshold owta() const;  // sqrt(detRe * assA)
  PerThreshold detA() const;  // found among all boxes of either side
  PerThreshold detRe() const;
  PerThreshold detPr() const;
  PerThreshold assA() const;  // mean over what is found: the same for the boxes of its two identities
  PerThreshold assRe() const;
  PerThreshold assPr() const;
  PerThreshold locA() const;  // mean overlap of what is found; 1 if nothing is

 private:
  void addAssociations(const Comparison& comparison,
                       const std::vector<std::array<std::size_t, kHotaThresholds>>& together);

  double truthBoxes = 0.0;
  double trackBoxes = 0.0;
  PerThreshold found{};
  PerThreshold overlapSum{};
  PerThreshold assASum{};
  PerThreshold assReSum{};
  PerThreshold assPrSum{};
};

}  // namespace nivra::hostkit
