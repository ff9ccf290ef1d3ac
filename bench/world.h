#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "nivra/nivra.h"

namespace nivra::bench {

using Frame = std::vector<ObjectDetection>;

constexpr unsigned long long kFrameDuration = 40'000'000;  // ns, 25 frames per second
constexpr float kAspectRatio = 16.0F / 9.0F;

/// People take people, cars take cars.
const LabelAssociations& labelAssociations();

/// Numbers that are the same with every standard library, unlike those of its distributions.
class Random {
 public:
  explicit Random(std::uint32_t seed) : engine(seed) {}

  /// 0 to 1, 1 excluded.
  float fraction() { return static_cast<float>(engine() >> 8) * 0x1p-24F; }
  float between(float low, float high) { return low + (high - low) * fraction(); }
  bool happens(float probability) { return fraction() < probability; }

 private:
  std::mt19937 engine;
};

/// A feature vector of length 1 in any direction.
std::vector<float> randomFeature(std::size_t length, Random& random);

/// What a camera sees of a feature: a little beside it each time.
std::vector<float> observedFeature(std::vector<float> feature, Random& random);

/// A person or car of given centre and size, with one classification.
ObjectDetection makeDetection(const Point& center, float width, float height, bool isPerson, std::int32_t id);

/// A crowd that is equally dense whatever its size.
///
/// Each object has, on average, a square of the picture for itself; its box covers 0.25 of that square's side in width
/// and 0.36 in height, together 0.3. With boxes spread at random, three in ten overlap another at any moment: a busy
/// place, but not a crush. Objects move straight on, up to their own width per second on each axis, and bounce off the
/// picture's border. They are no faster because a turn on the spot at twice that speed leaves the track behind, and the
/// benchmarks are to show the cost of following objects, not of losing them.
struct CrowdSettings {
  std::size_t objects = 0;
  /// Without dropouts and clutter, and everybody bounces off the border of a square of its own: nobody starts or ends.
  bool steady = false;
  bool peopleOnly = false;        ///< Otherwise every third object is a car.
  std::size_t featureLength = 0;  ///< Of the people's and the clutter's feature vectors; 0 for none.
  std::size_t frames = 200;
};

/// A detection's `id` is the number of its object; -1 marks clutter.
std::vector<Frame> makeCrowd(const CrowdSettings& settings);

/// The frames again and again, forward and backward, so that there is no jump between passes.
class Playback {
 public:
  explicit Playback(const std::vector<Frame>& playedFrames) : frames(playedFrames) {}

  std::size_t passLength() const { return 2 * (frames.size() - 1); }
  const Frame& operator[](std::size_t step) const {
    const std::size_t position = step % passLength();
    return frames[position < frames.size() ? position : passLength() - position];
  }

 private:
  const std::vector<Frame>& frames;
};

}  // namespace nivra::bench
