#pragma once

#include <cstddef>
#include <vector>

#include "support/detections.h"
#include "support/dice.h"

namespace nivra::test {

/// People and cars that bounce around the picture, detected with noise, misses and clutter. The same seed gives
/// the same frames everywhere.
class Crowd {
 public:
  Crowd(std::size_t size, std::uint32_t seed) : random(seed) {
    for (std::size_t i = 0; i < size; ++i)
      objects.push_back({uniform(-0.9F, 0.9F), uniform(-0.9F, 0.9F), uniform(-0.3F, 0.3F), uniform(-0.2F, 0.2F)});
  }

  std::vector<ObjectDetection> nextFrame() {
    std::vector<ObjectDetection> detections;
    for (std::size_t i = 0; i < objects.size(); ++i) {
      Mover& object = objects[i];
      object.x += object.velocityX * 0.04F;
      object.y += object.velocityY * 0.04F;
      if (object.x < -1.0F || object.x > 1.0F) object.velocityX = -object.velocityX;
      if (object.y < -1.0F || object.y > 1.0F) object.velocityY = -object.velocityY;
      if (uniform(0.0F, 1.0F) < 0.05F) continue;
      const bool isCar = i % 3 == 0;
      const Box box = boxAt(object.x + noise(), object.y + noise(), 0.1F + noise(), 0.2F + noise());
      detections.push_back(detectionOf(box, isCar ? "car" : "human", static_cast<int>(i)));
      detections.back().attributes = {{1, static_cast<int>(i) % 4, uniform(0.0F, 1.0F)}};
      detections.back().feature = {1.0F, static_cast<float>(i)};
    }
    const Box clutter = boxAt(uniform(-1.0F, 1.0F), uniform(-1.0F, 1.0F), 0.1F, 0.1F);
    if (uniform(0.0F, 1.0F) < 0.2F) detections.push_back(detectionOf(clutter, "human", -2));
    return detections;
  }

  float uniform(float low, float high) { return random.between(low, high); }

 private:
  struct Mover {
    float x, y, velocityX, velocityY;
  };

  float noise() { return uniform(-0.004F, 0.004F); }

  Dice random;
  std::vector<Mover> objects;
};

}  // namespace nivra::test
