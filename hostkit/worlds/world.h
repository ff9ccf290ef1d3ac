#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hostkit/formats/picture.h"
#include "hostkit/worlds/appearance.h"
#include "hostkit/worlds/random.h"

namespace nivra::hostkit {

struct SimulationOptions {
  std::string camera = "plaza";
  std::uint64_t seed = 1;
  int frames = 300;
  int people = 10;
  int vehicles = 0;
  double pan = 0.0;        // how fast the camera pans to and fro at most, picture widths per second
  double drop = 0.0;       // share of the frames that the camera drops
  double reentries = 0.0;  // share of the people who leave that come back in
  int featureLength = 16;  // 0 for detections without appearance features
  PictureSize picture = {1280, 720};
  double frameRate = 25.0;
};

enum class Kind { person, car, truck };

struct KindTraits {
  const char* label;
  int truthClass;  // MOTChallenge numbers people and cars; the first number that it leaves free stands for trucks
};

constexpr KindTraits traitsOf(Kind kind) {
  constexpr std::array<KindTraits, 3> kTraits = {{{"human", 1}, {"car", 3}, {"truck", 14}}};
  return kTraits[static_cast<std::size_t>(kind)];
}

/// A place on the plaza: x in picture widths, depth from 0 (far) to 1 (near).
struct Place {
  double x = 0.0;
  double depth = 0.0;
};

/// The build of a figure, compared to that of a usual person.
struct Build {
  double tallness = 1.0;
  double widthPerHeight = 0.38;
};

PixelBox boxOf(Place place, Build build, PictureSize picture);

/// A person or a vehicle as the camera has it in one frame.
struct Figure {
  int object = 0;  // from 1; it stays when they leave and come back
  Kind kind = Kind::person;
  double depth = 0.0;
  PixelBox box;             // in the current picture
  double visibility = 0.0;  // the share that is inside the picture and that nothing hides
  const Appearance* appearance = nullptr;
};

/// People who cross a plaza with a kiosk, and vehicles on the road behind it.
class World {
 public:
  /// @param random Decides on the people.
  World(const SimulationOptions& chosen, Random& random);

  /// Who reaches into the picture, by number; what they point at belongs to the world.
  std::vector<Figure> figuresAt(int frame) const;

  /// How far the camera has panned to the right, in hundredths of a pixel.
  std::int64_t panAt(int frame) const;

 private:
  /// From entering at one side to leaving at a side.
  struct Passage {
    Place from;
    Place via;  // where the curve bends
    Place to;
    double start = 0.0;  // frame
    double duration = 0.0;
  };

  /// A person or a vehicle, and when and where it comes by.
  struct Object {
    Kind kind = Kind::person;
    Build build;
    Appearance appearance;
    std::vector<Passage> passages;  // one after the other
  };

  Object makePerson(Random& random, Random& returns) const;
  Object makeVehicle(Random& random) const;
  Place sidePlace(Random& random, bool rightSide) const;
  void chooseWay(Passage& passage, Random& random, bool fromRight) const;
  void choosePace(Passage& passage, Random& random) const;
  double chooseStart(const Passage& passage, Random& random) const;
  static std::optional<Place> placeOf(const Object& object, int frame);

  SimulationOptions options;
  std::vector<Object> objects;
};

}  // namespace nivra::hostkit
