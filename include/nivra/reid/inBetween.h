#pragma once

/// @file
/// Finds detections that lie between two others: a third box of the same class that a detector sometimes
/// reports over two objects side by side.

#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "nivra/export.h"
#include "nivra/objectDetection.h"
#include "nivra/trackerParams.h"

namespace nivra::reid {

/// Cosine of the angle at the anchor of `a` between the directions to the anchors of `b` and `c`. The anchor
/// of a box is the middle of its top edge.
/// @param aspect Weight of squared horizontal differences against squared vertical ones: the square of the
///   picture's aspect ratio.
/// @return -1 to 1; 0 if `b` or `c` has the same anchor as `a`.
NIVRA_EXPORT float angleBetweenDetections(const ObjectDetection& a, const ObjectDetection& b, const ObjectDetection& c,
                                          float aspect);

/// Sets `inbetween` on every detection that lies between two neighbours of its label and has less objectness
/// than both. A flag that is set already stays set.
/// @param aspect As for `angleBetweenDetections`.
NIVRA_EXPORT void markInbetweenDetections(std::vector<ObjectDetection>& detections, const InBetweenParams& params,
                                          float aspect);

/// The same test with textual parameters, for hosts and tools. Marks no detection.
/// @param params "useInbetween" (on exactly when "true"), "iouScoreMargin", "maxAngle", "minIou".
/// @param aspect As for `angleBetweenDetections`.
/// @return For every middle detection and pair of neighbours (id, (neighbour id, neighbour id, cosine)).
/// @throws std::out_of_range for a missing parameter, and what std::stof throws.
NIVRA_EXPORT std::vector<std::pair<int, std::tuple<int, int, float>>> getInBetweenDetections(
    const std::vector<ObjectDetection>& detections, const std::map<std::string, std::string>& params, float aspect);

}  // namespace nivra::reid
