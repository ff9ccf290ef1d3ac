#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "hostkit/worlds/appearance.h"
#include "hostkit/worlds/random.h"
#include "nivra/objectDetection.h"

namespace nivra::hostkit {

/// A person or car of given centre and size, in picture units, with one classification.
ObjectDetection detectionAt(const Point& center, float width, float height, bool isPerson, std::int32_t id);

/// A crowd that is equally dense whatever its size.
///
/// Each object has, on average, a square of the picture for itself; its box covers 0.25 of that square's side in width
/// and 0.36 in height, together 0.3. With boxes spread at random, three in ten overlap another at any moment: a busy
/// place, but not a crush. Objects move straight on, up to their own width per second on each axis, and bounce off the
/// picture's border. They are no faster because a turn on the spot at twice that speed leaves the track behind, and
/// benchmarks are to show the cost of following objects, not of losing them.
struct CrowdSettings {
  std::size_t objects = 0;
  /// Without dropouts and clutter, and everybody bounces off the border of a square of its own: nobody starts or ends.
  bool steady = false;
  bool peopleOnly = false;     ///< Otherwise every third object is a car.
  int featureLength = 0;       ///< Of the people's and the clutter's feature vectors; 0 for none.
  bool hasAttributes = false;  ///< Each object one, of changing score.
  std::uint64_t seed = 7;
};

/// Sees a crowd 25 times a second. The same settings give the same frames on every machine.
class Crowd {
 public:
  explicit Crowd(const CrowdSettings& chosen);

  /// A detection's `id` is the number of its object; -1 marks clutter.
  std::vector<ObjectDetection> nextFrame();

 private:
  /// One coordinate of an object on its way between two walls.
  struct Walk {
    float position;
    float velocity;
    float low;
    float high;

    void advance();
  };

  struct Walker {
    Walk x;
    Walk y;
    bool isPerson;
    Appearance appearance;
  };

  Walk walkIn(std::size_t square, std::size_t squaresPerRow);
  ObjectDetection see(const Walker& walker, std::int32_t id);
  ObjectDetection makeClutter();

  CrowdSettings settings;
  float side;  // of the square for each object
  Random random;
  Random featureRandom;  // of its own, so that everybody walks the same way whatever the features' length
  std::vector<Walker> walkers;
};

}  // namespace nivra::hostkit
