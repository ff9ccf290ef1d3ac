#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "core/detectionRange.h"
#include "core/overlapSearch.h"
#include "nivra/reid/inBetween.h"
#include "nivra/trackerParams.h"

namespace nivra::reid {

/// Finds the detections of a frame that lie between two others. Keeps its memory from frame to frame.
class InbetweenSearch {
 public:
  /// Calls found(middle, neighbour, other neighbour, cosine) with the positions of every detection that lies between two
  /// others, in ascending order, until `found` has seen enough of that middle and returns false.
  template <class Found>
  void search(DetectionRange detections, const InBetweenParams& params, float aspect, Found found) {
    findBetterNeighbours(detections, params);
    for (auto first = neighbours.begin(); first != neighbours.end();) {
      const std::uint32_t middle = first->first;
      const auto last =
          std::find_if(first, neighbours.end(), [middle](const auto& entry) { return entry.first != middle; });
      searchAround(detections, params, aspect, first, last, found);
      first = last;
    }
  }

 private:
  using Neighbours = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

  /// Lists each detection with those neighbours that have more objectness by the margin; no others count.
  void findBetterNeighbours(DetectionRange detections, const InBetweenParams& params) {
    neighbours.clear();
    if (!params.useInbetween || !canDiffer(detections, params.iouScoreMargin)) return;
    overlaps.clear();
    for (const ObjectDetection& detection : detections) overlaps.add(detection.box);
    overlaps.visitOverlapping(params.minIou, [&](std::uint32_t a, std::uint32_t b) {
      if (detections[a].label != detections[b].label) return;
      const auto isBetter = [&](std::uint32_t one, std::uint32_t other) {
        return !(detections[one].objectness - params.iouScoreMargin < detections[other].objectness);
      };
      if (isBetter(b, a)) neighbours.emplace_back(a, b);
      if (isBetter(a, b)) neighbours.emplace_back(b, a);
    });
    std::sort(neighbours.begin(), neighbours.end());
  }

  /// Whether any objectness can exceed another by the margin: seldom where the detector gives none.
  static bool canDiffer(DetectionRange detections, float margin) {
    float lowest = std::numeric_limits<float>::infinity();
    float highest = -lowest;
    for (const ObjectDetection& detection : detections) {
      if (!(detection.objectness <= highest)) highest = detection.objectness;
      if (!(detection.objectness >= lowest)) lowest = detection.objectness;
    }
    return !(highest - margin < lowest);
  }

  template <class Found>
  static void searchAround(DetectionRange detections, const InBetweenParams& params, float aspect,
                           Neighbours::const_iterator first, Neighbours::const_iterator last, Found found) {
    for (auto one = first; one != last; ++one) {
      for (auto other = one + 1; other != last; ++other) {
        const float cosine =
            angleBetweenDetections(detections[one->first], detections[one->second], detections[other->second], aspect);
        if (cosine <= params.maxAngle && !found(one->first, one->second, other->second, cosine)) return;
      }
    }
  }

  OverlapSearch overlaps;
  Neighbours neighbours;  // (middle, neighbour), ascending
};

}  // namespace nivra::reid
