#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "core/boxGeometry.h"
#include "core/detectionRange.h"
#include "core/hearing.h"
#include "matching/overlapSearch.h"
#include "matching/pairLimit.h"
#include "nivra/reid/inBetween.h"
#include "nivra/trackerParams.h"
#include "reid/widestAngle.h"

namespace nivra::reid {

/// From the anchor of a detection to that of another one.
inline Point directionBetween(const ObjectDetection& from, const ObjectDetection& to) {
  return {center(to.box).x - center(from.box).x, to.box.top - from.box.top};
}

/// Finds the detections of a frame that lie between two others. Keeps its memory from frame to frame.
class InbetweenSearch {
 public:
  /// Calls found(middle, neighbour, other neighbour, cosine) with the positions of every detection that lies between
  /// two others, in ascending order.
  template <class Found>
  void list(DetectionRange detections, const InBetweenParams& params, float aspect, Found found) {
    visitNeighbourhoods(detections, params, [&](Neighbours::const_iterator first, Neighbours::const_iterator last) {
      visitPairs(detections, params, aspect, first, last, [&](std::uint32_t one, std::uint32_t other, float cosine) {
        found(first->first, one, other, cosine);
        return true;
      });
    });
  }

  /// Calls mark(middle) with the positions of the detections that lie between two others.
  template <class Mark>
  void mark(DetectionRange detections, const InBetweenParams& params, float aspect, Mark mark) {
    visitNeighbourhoods(detections, params, [&](Neighbours::const_iterator first, Neighbours::const_iterator last) {
      if (isMiddle(detections, params, aspect, first, last)) mark(first->first);
    });
  }

  /// Tells of every detection with neighbours that exceed its objectness what decides about it: the two of them that
  /// lie the farthest apart, as seen from it. tell(middle, neighbour, other neighbour, verdicts)
  template <class Tell>
  void explain(DetectionRange detections, const InBetweenParams& params, float aspect, Tell tell) {
    visitNeighbourhoods(detections, params, [&](Neighbours::const_iterator first, Neighbours::const_iterator last) {
      std::optional<float> widest;
      Neighbours::value_type pair;
      std::vector<Verdict> verdicts;
      visitObjectnessPairs(detections, params, first, last, [&](std::uint32_t one, std::uint32_t other) {
        const ObjectDetection& middle = detections[first->first];
        const ObjectDetection& b = detections[one];
        const ObjectDetection& c = detections[other];
        const float cosine = angleBetweenDetections(middle, b, c, aspect);
        if (widest && !(cosine < *widest)) return true;
        widest = cosine;
        pair = {one, other};
        Hearing hear;
        isObjectnessBelow(middle, b, c, params, hear);
        isAngleWide(cosine, params, hear);
        verdicts = hear.take();
        return true;
      });
      if (widest) tell(first->first, pair.first, pair.second, std::move(verdicts));
    });
  }

 private:
  using Neighbours = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

  /// Calls visit(first, last) with the neighbours of each detection that has some that matter.
  template <class Visit>
  void visitNeighbourhoods(DetectionRange detections, const InBetweenParams& params, Visit visit) {
    if (!params.useInbetween || !compareObjectness(detections, params.iouScoreMargin)) return;
    overlaps.clear();
    for (const ObjectDetection& detection : detections) overlaps.add(detection.box);
    if (listNeighbours(detections, params)) {
      for (auto first = neighbours.cbegin(); first != neighbours.cend();) {
        const auto isOfAnother = [middle = first->first](const auto& entry) { return entry.first != middle; };
        const auto last = std::find_if(first, neighbours.cend(), isOfAnother);
        visit(first, last);
        first = last;
      }
      return;
    }
    for (std::uint32_t middle = 0; middle < detections.size(); ++middle) {
      neighbours.clear();
      const ObjectDetection& detection = detections[middle];
      overlaps.visitOverlapping(
          middle, params.minIou,
          [&](std::uint32_t other) { return isBetter(detections[other].objectness, detection.objectness); },
          [&](std::uint32_t other) {
            if (canBeNeighbours(detection, detections[other])) neighbours.emplace_back(middle, other);
          });
      if (!neighbours.empty()) visit(neighbours.cbegin(), neighbours.cend());
    }
  }

  /// Of one label, and with an overlap that is a number: one that is not exceeds no threshold, not even a negative one.
  static bool canBeNeighbours(const ObjectDetection& a, const ObjectDetection& b) {
    return a.label == b.label && !std::isnan(jointArea(a.box, b.box));
  }

  /// @return False if nothing can exceed anything by the margin, as where the detector gives no objectness.
  bool compareObjectness(DetectionRange detections, float margin) {
    float lowest = std::numeric_limits<float>::infinity();
    float highest = -lowest;
    objectnessMargin = margin;
    isComparable = true;
    for (const ObjectDetection& detection : detections) {
      lowest = std::min(lowest, detection.objectness);
      highest = std::max(highest, detection.objectness);
      isComparable = isComparable && !std::isnan(detection.objectness);
    }
    return isBetter(highest, lowest);
  }

  /// Whether a neighbour may make a middle of another detection: both must exceed it by the margin. As long as all
  /// objectness can be compared, those that don't can be left out.
  bool isBetter(float objectness, float than) const { return !isComparable || !(objectness - objectnessMargin < than); }

  /// @return False if there are too many to be listed.
  bool listNeighbours(DetectionRange detections, const InBetweenParams& params) {
    neighbours.clear();
    bool isListed = true;
    overlaps.visitOverlapping(params.minIou, [&](std::uint32_t a, std::uint32_t b) {
      if (!canBeNeighbours(detections[a], detections[b])) return true;
      if (isBetter(detections[b].objectness, detections[a].objectness)) neighbours.emplace_back(a, b);
      if (isBetter(detections[a].objectness, detections[b].objectness)) neighbours.emplace_back(b, a);
      isListed = neighbours.size() <= mostListedPairs(detections.size());
      return isListed;
    });
    if (isListed) std::sort(neighbours.begin(), neighbours.end());
    return isListed;
  }

  bool isMiddle(DetectionRange detections, const InBetweenParams& params, float aspect,
                Neighbours::const_iterator first, Neighbours::const_iterator last) {
    constexpr std::ptrdiff_t kFew = 4;  // neighbours whose pairs are tried as fast as they are looked through
    if (isComparable && last - first > kFew) {
      angle.begin(aspect, params.maxAngle);
      for (auto each = first; each != last; ++each) {
        angle.add(directionBetween(detections[each->first], detections[each->second]));
      }
      const WidestAngle::Answer isWide = angle.answer();
      if (isWide != WidestAngle::Answer::unknown) return isWide == WidestAngle::Answer::yes;
    }
    bool isFound = false;
    visitPairs(detections, params, aspect, first, last, [&](std::uint32_t, std::uint32_t, float) {
      isFound = true;
      return false;
    });
    return isFound;
  }

  template <class Hear>
  static bool isObjectnessBelow(const ObjectDetection& middle, const ObjectDetection& b, const ObjectDetection& c,
                                const InBetweenParams& params, Hear&& hear) {
    const float least = std::min(b.objectness, c.objectness);
    const float margin = params.iouScoreMargin;
    return hear(Rule::objectnessMargin, least - middle.objectness, margin, !(least - margin < middle.objectness));
  }

  template <class Hear>
  static bool isAngleWide(float cosine, const InBetweenParams& params, Hear&& hear) {
    return hear(Rule::neighbourAngle, cosine, params.maxAngle, cosine <= params.maxAngle);
  }

  /// Calls visit(neighbour, other neighbour) with the pairs that both exceed the detection's objectness, until it
  /// returns false.
  template <class Visit>
  static void visitObjectnessPairs(DetectionRange detections, const InBetweenParams& params,
                                   Neighbours::const_iterator first, Neighbours::const_iterator last, Visit visit) {
    for (auto one = first; one != last; ++one) {
      for (auto other = one + 1; other != last; ++other) {
        const ObjectDetection& b = detections[one->second];
        const ObjectDetection& c = detections[other->second];
        if (!isObjectnessBelow(detections[one->first], b, c, params, Unheard())) continue;
        if (!visit(one->second, other->second)) return;
      }
    }
  }

  /// Calls visit(neighbour, other neighbour, cosine) with the pairs that a detection lies between, until it returns
  /// false.
  template <class Visit>
  static void visitPairs(DetectionRange detections, const InBetweenParams& params, float aspect,
                         Neighbours::const_iterator first, Neighbours::const_iterator last, Visit visit) {
    visitObjectnessPairs(detections, params, first, last, [&](std::uint32_t one, std::uint32_t other) {
      const float cosine = angleBetweenDetections(detections[first->first], detections[one], detections[other], aspect);
      return !isAngleWide(cosine, params, Unheard()) || visit(one, other, cosine);
    });
  }

  OverlapSearch overlaps;
  Neighbours neighbours;  // (middle, neighbour), ascending
  WidestAngle angle;
  float objectnessMargin = 0.0F;
  bool isComparable = true;
};

}  // namespace nivra::reid
