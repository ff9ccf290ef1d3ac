#include "nivra/reid/inBetween.h"

#include <cmath>
#include <cstdint>

#include "core/boxGeometry.h"
#include "reid/inbetweenSearch.h"

namespace nivra::reid {

float angleBetweenDetections(const ObjectDetection& a, const ObjectDetection& b, const ObjectDetection& c,
                             float aspect) {
  const auto length = [aspect](const Point& v) { return std::sqrt(v.y * v.y + v.x * v.x * aspect); };
  const Point u = directionBetween(a, b);
  const Point v = directionBetween(a, c);
  const float lengthU = length(u);
  const float lengthV = length(v);
  if (lengthU == 0.0F || lengthV == 0.0F) return 0.0F;
  return (v.x * u.x * aspect + v.y * u.y) / (lengthU * lengthV);
}

void markInbetweenDetections(std::vector<ObjectDetection>& detections, const InBetweenParams& params, float aspect) {
  InbetweenSearch().mark(DetectionRange(detections), params, aspect,
                         [&](std::uint32_t middle) { detections[middle].inbetween = true; });
}

std::vector<std::pair<int, std::tuple<int, int, float>>> getInBetweenDetections(
    const std::vector<ObjectDetection>& detections, const std::map<std::string, std::string>& params, float aspect) {
  InBetweenParams parsed;
  parsed.useInbetween = params.at("useInbetween") == "true";
  parsed.iouScoreMargin = std::stof(params.at("iouScoreMargin"));
  parsed.maxAngle = std::stof(params.at("maxAngle"));
  parsed.minIou = std::stof(params.at("minIou"));

  std::vector<std::pair<int, std::tuple<int, int, float>>> findings;
  InbetweenSearch().list(
      DetectionRange(detections), parsed, aspect, [&](std::uint32_t a, std::uint32_t b, std::uint32_t c, float cosine) {
        findings.emplace_back(detections[a].id, std::tuple(detections[b].id, detections[c].id, cosine));
      });
  return findings;
}

}  // namespace nivra::reid
