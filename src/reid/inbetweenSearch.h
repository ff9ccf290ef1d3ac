#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "core/boxGeometry.h"
#include "core/detectionRange.h"
#include "core/overlapSearch.h"
#include "core/pairLimit.h"
#include "nivra/reid/inBetween.h"
#include "nivra/trackerParams.h"

namespace nivra::reid {

/// Finds the detections of a frame that lie between two others. Keeps its memory from frame to frame.
class InbetweenSearch {
 public:
  /// Calls found(middle, neighbour, other neighbour, cosine) with the positions of every detection that lies between
  /// two others, in ascending order, until `found` has seen enough of that middle and returns false.
  template <class Found>
  void search(DetectionRange detections, const InBetweenParams& params, float aspect, Found found) {
    findNeighbours(detections, params);
    if (areNeighboursListed) {
      for (auto first = neighbours.cbegin(); first != neighbours.cend();) {
        const std::uint32_t middle = first->first;
        const auto last =
            std::find_if(first, neighbours.cend(), [middle](const auto& entry) { return entry.first != middle; });
        searchAround(detections, params, aspect, first, last, found);
        first = last;
      }
      return;
    }
    for (std::uint32_t middle = 0; middle < detections.size(); ++middle) {
      neighbours.clear();
      overlaps.visitOverlapping(middle, params.minIou, [&](std::uint32_t other) {
        if (canBeNeighbours(detections[middle], detections[other])) neighbours.emplace_back(middle, other);
      });
      searchAround(detections, params, aspect, neighbours.cbegin(), neighbours.cend(), found);
    }
  }

 private:
  using Neighbours = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

  /// Of one label, and with an overlap that is a number: one that is not exceeds no threshold, not even a negative one.
  static bool canBeNeighbours(const ObjectDetection& a, const ObjectDetection& b) {
    return a.label == b.label && !std::isnan(jointArea(a.box, b.box));
  }

  /// Lists each detection with its neighbours, if they are not too many to be listed. Those that don't exceed its
  /// objectness by the margin can be left out, as long as all objectness can be compared.
  void findNeighbours(DetectionRange detections, const InBetweenParams& params) {
    neighbours.clear();
    areNeighboursListed = true;
    if (!params.useInbetween) return;
    float lowest = std::numeric_limits<float>::infinity();
    float highest = -lowest;
    bool isComparable = true;
    for (const ObjectDetection& detection : detections) {
      lowest = std::min(lowest, detection.objectness);
      highest = std::max(highest, detection.objectness);
      isComparable = isComparable && !std::isnan(detection.objectness);
    }
    const auto isBetter = [&](float objectness, float other) {
      return !isComparable || !(objectness - params.iouScoreMargin < other);
    };
    if (!isBetter(highest, lowest)) return;  // always so where the detector gives none

    overlaps.clear();
    for (const ObjectDetection& detection : detections) overlaps.add(detection.box);
    overlaps.visitOverlapping(params.minIou, [&](std::uint32_t a, std::uint32_t b) {
      if (!areNeighboursListed || !canBeNeighbours(detections[a], detections[b])) return;
      if (isBetter(detections[b].objectness, detections[a].objectness)) neighbours.emplace_back(a, b);
      if (isBetter(detections[a].objectness, detections[b].objectness)) neighbours.emplace_back(b, a);
      areNeighboursListed = neighbours.size() <= mostListedPairs(detections.size());
    });
    if (areNeighboursListed) std::sort(neighbours.begin(), neighbours.end());
  }

  template <class Found>
  static void searchAround(DetectionRange detections, const InBetweenParams& params, float aspect,
                           Neighbours::const_iterator first, Neighbours::const_iterator last, Found found) {
    for (auto one = first; one != last; ++one) {
      for (auto other = one + 1; other != last; ++other) {
        const ObjectDetection& middle = detections[one->first];
        const ObjectDetection& b = detections[one->second];
        const ObjectDetection& c = detections[other->second];
        if (std::min(b.objectness, c.objectness) - params.iouScoreMargin < middle.objectness) continue;
        const float cosine = angleBetweenDetections(middle, b, c, aspect);
        if (cosine <= params.maxAngle && !found(one->first, one->second, other->second, cosine)) return;
      }
    }
  }

  OverlapSearch overlaps;
  Neighbours neighbours;  // (middle, neighbour), ascending
  bool areNeighboursListed = true;
};

}  // namespace nivra::reid
