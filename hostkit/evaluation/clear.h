#pragma once

#include <cstddef>
#include <vector>

#include "hostkit/evaluation/comparison.h"

namespace nivra::hostkit {

/// What became of the boxes of a frame; positions are those of the frame's lists in a `Comparison`.
struct FrameMatching {
  static constexpr int kNone = -1;
  static constexpr int kNotCounted = -2;

  std::vector<int> trackOfTruth;      // the box that found each one of the truth; `kNone` for a miss
  std::vector<int> truthOfTrack;      // likewise the other way round; `kNone` for a false box
  std::vector<std::size_t> switches;  // boxes of the truth that another identity found when last they were found
};

/// The CLEAR metrics (Bernardin and Stiefelhagen, 2008): boxes found at an overlap of 0.5, those that keep the identity
/// of the frame before preferred, and the identities that were switched.
///
/// It keeps sums, so that those of several sequences add up to the figures of all; figures are fractions.
class Clear {
 public:
  Clear() = default;
  /// @param matchings If not null, takes what became of the boxes, frame by frame.
  explicit Clear(const Comparison& comparison, std::vector<FrameMatching>* matchings = nullptr);
  Clear& operator+=(const Clear& other);

  double truePositives = 0.0;
  double falseNegatives = 0.0;
  double falsePositives = 0.0;
  double switches = 0.0;
  double mostlyTracked = 0.0;   // identities of the truth of which more than 80 % of the boxes are found
  double partlyTracked = 0.0;   // all others
  double mostlyLost = 0.0;      // less than 20 %
  double fragmentations = 0.0;  // how often somebody is found again after a break
  double frames = 0.0;          // of sequences with boxes on both sides
  double overlapSum = 0.0;      // of what is found

  double mota() const;
  double motp() const;
  double moda() const;
  double smota() const;
  double motal() const;  // with the logarithm of the switches
  double recall() const;
  double precision() const;
  double f1() const;
  double falsePositivesPerFrame() const;
  double shareOfMostlyTracked() const;
  double shareOfPartlyTracked() const;
  double shareOfMostlyLost() const;

 private:
  double truthBoxes() const { return truePositives + falseNegatives; }
  double shareOf(double identities) const;
};

}  // namespace nivra::hostkit
