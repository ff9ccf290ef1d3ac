#include "hostkit/worlds/crowd.h"

#include <cmath>
#include <utility>

namespace nivra::hostkit {

namespace {

constexpr float kFrameSeconds = 0.04F;
constexpr float kPixel = 2.0F / 1920.0F;
constexpr double kDropout = 0.05;
constexpr double kClutter = 0.02;
constexpr std::int32_t kClutterId = -1;
constexpr float kBorder = 0.95F;
constexpr float kWidth = 0.25F;  // of a box, in the side of its square
constexpr float kHeight = 0.36F;

/// Uniform, with a standard deviation of one pixel.
void blur(Box& box, Random& random) {
  const float reach = std::sqrt(3.0F) * kPixel;
  for (float* edge : {&box.left, &box.top, &box.right, &box.bottom}) *edge += random.between(-reach, reach);
}

}  // namespace

ObjectDetection detectionAt(const Point& center, float width, float height, bool isPerson, std::int32_t id) {
  ObjectDetection detection;
  detection.box = {center.x - width / 2, center.y + height / 2, center.x + width / 2, center.y - height / 2};
  detection.score = 90.0F;
  detection.label = isPerson ? "human" : "car";
  detection.classifications = {{detection.label, detection.score}};
  detection.id = id;
  return detection;
}

void Crowd::Walk::advance() {
  position += velocity * kFrameSeconds;
  if (position < low) velocity = std::abs(velocity);
  if (position > high) velocity = -std::abs(velocity);
}

Crowd::Crowd(const CrowdSettings& chosen)
    : settings(chosen),
      side(2.0F / std::sqrt(static_cast<float>(chosen.objects))),
      random(chosen.seed),
      featureRandom(chosen.seed, 1) {
  const auto squaresPerRow = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<float>(settings.objects))));
  for (std::size_t i = 0; i < settings.objects; ++i) {
    const bool isPerson = settings.peopleOnly || i % 3 != 0;
    const Walk x = walkIn(i % squaresPerRow, squaresPerRow);
    const Walk y = walkIn(i / squaresPerRow, squaresPerRow);
    const bool hasFeature = isPerson && settings.featureLength > 0;
    walkers.push_back(
        {x, y, isPerson, hasFeature ? randomAppearance(featureRandom, settings.featureLength) : Appearance()});
  }
}

Crowd::Walk Crowd::walkIn(std::size_t square, std::size_t squaresPerRow) {
  const float squareSide = 2.0F / static_cast<float>(squaresPerRow);
  const float middle = -1.0F + (static_cast<float>(square) + 0.5F) * squareSide;
  Walk walk{};
  walk.low = settings.steady ? middle - 0.4F * squareSide : -kBorder;
  walk.high = settings.steady ? middle + 0.4F * squareSide : kBorder;
  walk.position = random.between(walk.low, walk.high);
  walk.velocity = random.between(-0.25F, 0.25F) * side;
  return walk;
}

ObjectDetection Crowd::see(const Walker& walker, std::int32_t id) {
  ObjectDetection detection =
      detectionAt({walker.x.position, walker.y.position}, kWidth * side, kHeight * side, walker.isPerson, id);
  blur(detection.box, random);
  if (!walker.appearance.empty()) detection.feature = seenAs(walker.appearance, featureRandom);
  if (settings.hasAttributes) detection.attributes = {{1, id % 4, random.between(0.0F, 1.0F)}};
  return detection;
}

ObjectDetection Crowd::makeClutter() {
  const Point center = {random.between(-kBorder, kBorder), random.between(-kBorder, kBorder)};
  ObjectDetection detection = detectionAt(center, kWidth * side, kHeight * side, true, kClutterId);
  if (settings.featureLength > 0) {
    const Appearance appearance = randomAppearance(featureRandom, settings.featureLength);
    detection.feature.emplace(appearance.begin(), appearance.end());
  }
  return detection;
}

std::vector<ObjectDetection> Crowd::nextFrame() {
  std::vector<ObjectDetection> frame;
  for (std::size_t i = 0; i < walkers.size(); ++i) {
    Walker& walker = walkers[i];
    walker.x.advance();
    walker.y.advance();
    if (!settings.steady && random.chance(kDropout)) continue;
    frame.push_back(see(walker, static_cast<std::int32_t>(i)));
  }
  for (std::size_t i = 0; !settings.steady && i < walkers.size(); ++i) {
    if (random.chance(kClutter)) frame.push_back(makeClutter());
  }
  return frame;
}

}  // namespace nivra::hostkit
