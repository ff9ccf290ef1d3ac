#include "nivra/reid/inBetween.h"

#include <cmath>
#include <cstdint>

#include "core/boxGeometry.h"
#include "reid/inbetweenSearch.h"

namespace nivra::reid {

namespace {

Point anchorOf(const ObjectDetection& detection) { return {center(detection.box).x, detection.box.top}; }

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
  InbetweenSearch().search(DetectionRange(detections), params, aspect,
                           [&](std::uint32_t middle, std::uint32_t, std::uint32_t, float) {
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
  InbetweenSearch().search(
      DetectionRange(detections), parsed, aspect, [&](std::uint32_t a, std::uint32_t b, std::uint32_t c, float cosine) {
        findings.emplace_back(detections[a].id, std::tuple(detections[b].id, detections[c].id, cosine));
        return true;
      });
  return findings;
}

}  // namespace nivra::reid
