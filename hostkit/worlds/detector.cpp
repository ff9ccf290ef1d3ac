#include "hostkit/worlds/detector.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace nivra::hostkit {

namespace {

struct Sighting {
  Kind kind;
  PixelBox box;
  double confidence;
  Appearance appearance;
};

Sighting see(const Figure& figure, Random& random) {
  const double spread = 0.02 * figure.box.height;
  Sighting sighting{figure.kind, figure.box, 0.0, *figure.appearance};
  sighting.box.left += spread * random.normal();
  sighting.box.top += spread * random.normal();
  sighting.box.width = std::max(1.0, sighting.box.width + spread * random.normal());
  sighting.box.height = std::max(1.0, sighting.box.height + spread * random.normal());
  const double confidence = 0.45 + 0.5 * figure.visibility + 0.05 * random.normal();
  sighting.confidence = std::clamp(confidence, 0.3, 1.0);
  // The less of a figure is to be seen, the less the appearance says of it, whatever its length.
  const double doubt =
      (0.28 + 0.6 * (1.0 - figure.visibility)) / std::sqrt(static_cast<double>(sighting.appearance.size()));
  for (double& number : sighting.appearance) number += doubt * random.normal();
  sighting.appearance = normalised(std::move(sighting.appearance));
  return sighting;
}

Sighting imagine(Random& random, const SimulationOptions& options) {
  Place place;
  place.x = random.uniform(0.05, 0.95);
  place.depth = random.uniform(0.0, 1.0);
  Build build;
  build.tallness = random.uniform(0.6, 1.2);
  const double confidence = random.uniform(0.3, 0.6);
  return {Kind::person, boxOf(place, build, options.picture), confidence,
          randomAppearance(random, options.featureLength)};
}

double toHundredths(double number) { return std::round(number * 100.0) / 100.0; }

ObjectDetection toDetection(const Sighting& sighting, PictureSize picture, std::int32_t id) {
  const auto& [left, top, width, height] = sighting.box;
  ObjectDetection detection;
  detection.box =
      toNormalised({toHundredths(left), toHundredths(top), toHundredths(width), toHundredths(height)}, picture);
  detection.score = static_cast<float>(std::round(sighting.confidence * 100.0));
  detection.label = traitsOf(sighting.kind).label;
  detection.classifications = {{detection.label, detection.score}};
  if (!sighting.appearance.empty()) detection.feature.emplace(sighting.appearance.begin(), sighting.appearance.end());
  detection.id = id;
  return detection;
}

}  // namespace

std::vector<ObjectDetection> detect(const std::vector<Figure>& figures, Random& random,
                                    const SimulationOptions& options) {
  std::vector<Sighting> sightings;
  for (const Figure& figure : figures) {
    const double covered = 1.0 - figure.visibility;
    if (random.chance(0.97 * (1.0 - covered * covered))) sightings.push_back(see(figure, random));
  }
  if (random.chance(0.06)) sightings.push_back(imagine(random, options));
  // As detectors do, and so that the order does not give the figures away.
  std::stable_sort(sightings.begin(), sightings.end(),
                   [](const Sighting& a, const Sighting& b) { return a.confidence > b.confidence; });

  std::vector<ObjectDetection> detections;
  detections.reserve(sightings.size());
  for (const Sighting& each : sightings) {
    detections.push_back(toDetection(each, options.picture, static_cast<std::int32_t>(detections.size())));
  }
  return detections;
}

}  // namespace nivra::hostkit
