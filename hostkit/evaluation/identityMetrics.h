#pragma once

#include "hostkit/evaluation/comparison.h"

namespace nivra::hostkit {

/// The identity metrics (Ristani et al., 2016): each identity of the truth gets at most one track, and each track at
/// most one identity, so that the most boxes overlap by 0.5 or more with a box of their partner.
///
/// It keeps sums, so that those of several sequences add up to the figures of all; figures are fractions.
class IdentityMetrics {
 public:
  IdentityMetrics() = default;
  explicit IdentityMetrics(const Comparison& comparison);
  IdentityMetrics& operator+=(const IdentityMetrics& other);

  double truePositives = 0.0;
  double falseNegatives = 0.0;
  double falsePositives = 0.0;

  double idf1() const;
  double precision() const;
  double recall() const;
};

}  // namespace nivra::hostkit
