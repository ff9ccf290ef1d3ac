#include "nivra/reid/inBetween.h"

#include <algorithm>
#include <cmath>

#include "core/boxGeometry.h"

namespace nivra::reid {

namespace {

Point anchorOf(const ObjectDetection& detection) { return {center(detection.box).x, detection.box.top}; }

using Neighbours = std::vector<std::vector<std::size_t>>;

/// For every detection the detections of its label that it overlaps, in ascending order.
Neighbours findNeighbours(const std::vector<ObjectDetection>& detections, float minIou) {
  Neighbours neighbours(detections.size());
  for (std::size_t i = 0; i < detections.size(); ++i) {
    for (std::size_t j = i + 1; j < detections.size(); ++j) {
      if (detections[i].label != detections[j].label) continue;
      if (!(intersectionOverUnion(detections[i].box, detections[j].box) > minIou)) continue;
      neighbours[i].push_back(j);
      neighbours[j].push_back(i);
    }
  }
  return neighbours;
}

/// Calls found(middle, neighbour, other neighbour, cosine) with the positions of every detection that lies
/// between two others, until `found` has seen enough of that middle and returns false.
template <class Found>
void findInbetween(const std::vector<ObjectDetection>& detections, const InBetweenParams& params, float aspect,
                   Found found) {
  if (!params.useInbetween) return;
  const Neighbours neighbours = findNeighbours(detections, params.minIou);
  const auto findAround = [&](std::size_t a) {
    for (auto p = neighbours[a].begin(); p != neighbours[a].end(); ++p) {
      for (auto q = p + 1; q != neighbours[a].end(); ++q) {
        const ObjectDetection& b = detections[*p];
        const ObjectDetection& c = detections[*q];
        if (std::min(b.objectness, c.objectness) - params.iouScoreMargin < detections[a].objectness) continue;
        const float cosine = angleBetweenDetections(detections[a], b, c, aspect);
        if (cosine <= params.maxAngle && !found(a, *p, *q, cosine)) return;
      }
    }
  };
  for (std::size_t a = 0; a < detections.size(); ++a) findAround(a);
}

}  // namespace

float angleBetweenDetections(const ObjectDetection& a, const ObjectDetection& b, const ObjectDetection& c,
                             float aspect) {
  const Point from = anchorOf(a);
  const auto direction = [&](const ObjectDetection& to) {
    return Point{anchorOf(to).x - from.x, anchorOf(to).y - from.y};
  };
  const auto length = [aspect](const Point& v) { return std::sqrt(v.y * v.y + v.x * v.x * aspect); };
  const Point u = direction(b);
  const Point v = direction(c);
  const float lengthU = length(u);
  const float lengthV = length(v);
  if (lengthU == 0.0F || lengthV == 0.0F) return 0.0F;
  return (v.x * u.x * aspect + v.y * u.y) / (lengthU * lengthV);
}

void markInbetweenDetections(std::vector<ObjectDetection>& detections, const InBetweenParams& params, float aspect) {
  findInbetween(detections, params, aspect, [&](std::size_t middle, std::size_t, std::size_t, float) {
    detections[middle].inbetween = true;
    return false;
  });
}

std::vector<std::pair<int, std::tuple<int, int, float>>> getInBetweenDetections(
    std::vector<ObjectDetection>& detections, const std::map<std::string, std::string>& params, float aspect) {
  InBetweenParams parsed;
  parsed.useInbetween = params.at("useInbetween") == "true";
  parsed.iouScoreMargin = std::stof(params.at("iouScoreMargin"));
  parsed.maxAngle = std::stof(params.at("maxAngle"));
  parsed.minIou = std::stof(params.at("minIou"));

  std::vector<std::pair<int, std::tuple<int, int, float>>> findings;
  findInbetween(detections, parsed, aspect, [&](std::size_t a, std::size_t b, std::size_t c, float cosine) {
    findings.emplace_back(detections[a].id, std::tuple(detections[b].id, detections[c].id, cosine));
    return true;
  });
  return findings;
}

}  // namespace nivra::reid
