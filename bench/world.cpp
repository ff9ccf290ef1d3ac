#include "world.h"

#include <algorithm>
#include <cmath>

namespace nivra::bench {

namespace {

constexpr float kFrameSeconds = 0.04F;
constexpr float kPixel = 2.0F / 1920.0F;
constexpr float kDropout = 0.05F;
constexpr float kClutter = 0.02F;
constexpr std::int32_t kClutterId = -1;

/// One coordinate of an object on its way between two walls.
struct Walk {
  float position;
  float velocity;
  float low;
  float high;

  void advance() {
    position += velocity * kFrameSeconds;
    if (position < low) velocity = std::abs(velocity);
    if (position > high) velocity = -std::abs(velocity);
  }
};

struct Walker {
  Walk x;
  Walk y;
  bool isPerson;
  std::vector<float> feature;
};

/// Uniform, with a standard deviation of one pixel.
float pixelNoise(Random& random) {
  const float reach = std::sqrt(3.0F) * kPixel;
  return random.between(-reach, reach);
}

void blur(Box& box, Random& random) {
  for (float* edge : {&box.left, &box.top, &box.right, &box.bottom}) *edge += pixelNoise(random);
}

}  // namespace

const LabelAssociations& labelAssociations() {
  static const LabelAssociations associations = {{"human", {"human"}}, {"car", {"car"}}};
  return associations;
}

std::vector<float> randomFeature(std::size_t length, Random& random) {
  std::vector<float> feature(length);
  float squaredNorm = 0.0F;
  for (float& number : feature) {
    number = random.between(-1.0F, 1.0F);
    squaredNorm += number * number;
  }
  for (float& number : feature) number /= std::sqrt(squaredNorm);
  return feature;
}

std::vector<float> observedFeature(std::vector<float> feature, Random& random) {
  const float noise = 0.3F / std::sqrt(static_cast<float>(feature.size()));
  for (float& number : feature) number += random.between(-noise, noise);
  return feature;
}

ObjectDetection makeDetection(const Point& center, float width, float height, bool isPerson, std::int32_t id) {
  ObjectDetection detection;
  detection.box = {center.x - width / 2, center.y + height / 2, center.x + width / 2, center.y - height / 2};
  detection.score = 90.0F;
  detection.label = isPerson ? "human" : "car";
  detection.classifications = {{detection.label, detection.score}};
  detection.id = id;
  return detection;
}

std::vector<Frame> makeCrowd(const CrowdSettings& settings) {
  Random random(7);
  Random featureRandom(11);  // of its own, so that everybody walks the same way whatever the features' length
  const std::size_t count = settings.objects;
  const float side = 2.0F / std::sqrt(static_cast<float>(count));
  const float boxWidth = 0.25F * side;
  const float boxHeight = 0.36F * side;
  const auto squaresPerRow = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<float>(count))));

  std::vector<Walker> walkers;
  for (std::size_t i = 0; i < count; ++i) {
    const auto walk = [&](std::size_t square) {
      const float squareSide = 2.0F / static_cast<float>(squaresPerRow);
      const float middle = -1.0F + (static_cast<float>(square) + 0.5F) * squareSide;
      Walk result{};
      result.low = settings.steady ? middle - 0.4F * squareSide : -0.95F;
      result.high = settings.steady ? middle + 0.4F * squareSide : 0.95F;
      result.position = random.between(result.low, result.high);
      result.velocity = random.between(-0.25F, 0.25F) * side;
      return result;
    };
    const bool isPerson = settings.peopleOnly || i % 3 != 0;
    const Walk x = walk(i % squaresPerRow);
    const Walk y = walk(i / squaresPerRow);
    const bool hasFeature = isPerson && settings.featureLength > 0;
    walkers.push_back(
        {x, y, isPerson, hasFeature ? randomFeature(settings.featureLength, featureRandom) : std::vector<float>()});
  }

  std::vector<Frame> frames(settings.frames);
  for (Frame& frame : frames) {
    for (std::size_t i = 0; i < count; ++i) {
      Walker& walker = walkers[i];
      walker.x.advance();
      walker.y.advance();
      if (!settings.steady && random.happens(kDropout)) continue;
      ObjectDetection detection = makeDetection({walker.x.position, walker.y.position}, boxWidth, boxHeight,
                                                walker.isPerson, static_cast<std::int32_t>(i));
      blur(detection.box, random);
      if (!walker.feature.empty()) detection.feature = observedFeature(walker.feature, featureRandom);
      frame.push_back(std::move(detection));
    }
    for (std::size_t i = 0; !settings.steady && i < count; ++i) {
      if (!random.happens(kClutter)) continue;
      const Point center = {random.between(-0.95F, 0.95F), random.between(-0.95F, 0.95F)};
      ObjectDetection detection = makeDetection(center, boxWidth, boxHeight, true, kClutterId);
      if (settings.featureLength > 0) detection.feature = randomFeature(settings.featureLength, featureRandom);
      frame.push_back(std::move(detection));
    }
  }
  return frames;
}

}  // namespace nivra::bench
