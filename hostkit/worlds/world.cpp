#include "hostkit/worlds/world.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace nivra::hostkit {

namespace {

constexpr double kPanReach = 0.3;  // to either side, picture widths
constexpr double kKioskDepth = 0.7;

/// A kiosk in the middle of the plaza, behind which people and vehicles vanish for a while.
PixelBox kioskBox(PictureSize picture) {
  return {0.42 * picture.width, 0.05 * picture.height, 0.22 * picture.width, 0.78 * picture.height};
}

double distance(Place a, Place b) {
  return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.depth - b.depth) * (a.depth - b.depth));
}

double bend(double from, double via, double to, double t) {
  return (1.0 - t) * (1.0 - t) * from + 2.0 * t * (1.0 - t) * via + t * t * to;
}

bool contains(const PixelBox& box, double x, double y) {
  return x >= box.left && x < box.left + box.width && y >= box.top && y < box.top + box.height;
}

double visibilityOf(const Figure& figure, const std::vector<Figure>& figures, const PixelBox& kiosk,
                    PictureSize picture) {
  constexpr int kColumns = 8;
  constexpr int kRows = 16;
  const PixelBox whole = {0.0, 0.0, static_cast<double>(picture.width), static_cast<double>(picture.height)};
  int visible = 0;
  for (int cell = 0; cell < kColumns * kRows; ++cell) {
    const int row = cell / kColumns;
    const int column = cell % kColumns;
    const double x = figure.box.left + figure.box.width * (column + 0.5) / kColumns;
    const double y = figure.box.top + figure.box.height * (row + 0.5) / kRows;
    const bool behindKiosk = figure.depth < kKioskDepth && contains(kiosk, x, y);
    const bool hidden = behindKiosk || std::any_of(figures.begin(), figures.end(), [&](const Figure& other) {
                          return other.depth > figure.depth && contains(other.box, x, y);
                        });
    if (!hidden && contains(whole, x, y)) ++visible;
  }
  return visible / static_cast<double>(kColumns * kRows);
}

bool reachesInto(const PixelBox& box, PictureSize picture) {
  return box.left < picture.width && box.left + box.width > 0.0 && box.top < picture.height &&
         box.top + box.height > 0.0;
}

}  // namespace

PixelBox boxOf(Place place, Build build, PictureSize picture) {
  const double height = picture.height * (0.16 + 0.26 * place.depth) * build.tallness;
  const double width = build.widthPerHeight * height;
  const double foot = picture.height * (0.40 + 0.55 * place.depth);
  return {place.x * picture.width - width / 2.0, foot - height, width, height};
}

World::World(const SimulationOptions& chosen, Random& random) : options(chosen) {
  Random returns(options.seed, 1);
  Random traffic(options.seed, 2);
  for (int i = 0; i < options.people; ++i) objects.push_back(makePerson(random, returns));
  for (int i = 0; i < options.vehicles; ++i) objects.push_back(makeVehicle(traffic));
}

/// A place beyond what the camera sees when it looks to that side.
Place World::sidePlace(Random& random, bool rightSide) const {
  const double beyondBorder = 0.07 + (options.pan > 0.0 ? kPanReach : 0.0);
  return {rightSide ? 1.0 + beyondBorder : -beyondBorder, random.uniform(0.0, 1.0)};
}

void World::chooseWay(Passage& passage, Random& random, bool fromRight) const {
  const bool turnsBack = random.chance(0.2);
  passage.from = sidePlace(random, fromRight);
  passage.to = sidePlace(random, fromRight == turnsBack);
  passage.via.x = random.uniform(0.3, 0.7);
  passage.via.depth = random.uniform(0.0, 1.0);
}

void World::choosePace(Passage& passage, Random& random) const {
  constexpr double kWidthsPerSecond = 0.14;
  // The curve is about half-way between its chord and its two legs; who walks far away seems slower.
  const double legs = distance(passage.from, passage.via) + distance(passage.via, passage.to);
  const double length = (legs + distance(passage.from, passage.to)) / 2.0;
  const double speed = kWidthsPerSecond * (0.6 + 0.8 * passage.via.depth) * random.uniform(0.8, 1.2);
  passage.duration = length / speed * options.frameRate;
}

/// So that most of the passage, or at least a good part, falls within the sequence.
double World::chooseStart(const Passage& passage, Random& random) const {
  return random.uniform(-0.5 * passage.duration, options.frames - 0.3 * passage.duration);
}

World::Object World::makePerson(Random& random, Random& returns) const {
  Object person;
  Passage passage;
  chooseWay(passage, random, random.chance(0.5));
  person.build.tallness = random.uniform(0.9, 1.1);
  person.appearance = randomAppearance(random, options.featureLength);
  choosePace(passage, random);
  passage.start = chooseStart(passage, random);
  person.passages.push_back(passage);

  while (returns.chance(options.reentries)) {
    passage.start += passage.duration + returns.uniform(2.0, 8.0) * options.frameRate;
    if (passage.start > options.frames) break;
    chooseWay(passage, returns, passage.to.x > 0.5);
    choosePace(passage, returns);
    person.passages.push_back(passage);
  }
  return person;
}

World::Object World::makeVehicle(Random& random) const {
  constexpr double kWidthsPerSecond = 0.3;
  constexpr Build kCar = {0.8, 2.3};
  constexpr Build kTruck = {1.4, 2.1};
  Object vehicle;
  vehicle.kind = random.chance(0.7) ? Kind::car : Kind::truck;
  vehicle.build = vehicle.kind == Kind::car ? kCar : kTruck;
  vehicle.build.tallness *= random.uniform(0.95, 1.05);
  vehicle.appearance = randomAppearance(random, options.featureLength);

  // One lane for each direction; who overtakes keeps to the lane's nearer or farther edge.
  Passage passage;
  const bool fromRight = random.chance(0.5);
  passage.from = sidePlace(random, fromRight);
  passage.to = sidePlace(random, !fromRight);
  const double lane = fromRight ? 0.15 : 0.3;
  passage.from.depth = passage.to.depth = lane + random.uniform(0.0, 0.1);
  const double halfLength = boxOf(passage.from, vehicle.build, options.picture).width / 2.0 / options.picture.width;
  passage.from.x += fromRight ? halfLength : -halfLength;
  passage.to.x += fromRight ? -halfLength : halfLength;
  passage.via = {(passage.from.x + passage.to.x) / 2.0, passage.from.depth};

  const double speed = kWidthsPerSecond * random.uniform(0.8, 1.3);
  passage.duration = distance(passage.from, passage.to) / speed * options.frameRate;
  passage.start = chooseStart(passage, random);
  vehicle.passages.push_back(passage);
  return vehicle;
}

std::optional<Place> World::placeOf(const Object& object, int frame) {
  const auto next = std::upper_bound(object.passages.begin(), object.passages.end(), frame,
                                     [](int time, const Passage& passage) { return time < passage.start; });
  if (next == object.passages.begin()) return std::nullopt;
  const Passage& passage = *std::prev(next);
  const double t = (frame - passage.start) / passage.duration;
  if (t > 1.0) return std::nullopt;
  return Place{bend(passage.from.x, passage.via.x, passage.to.x, t),
               bend(passage.from.depth, passage.via.depth, passage.to.depth, t)};
}

std::vector<Figure> World::figuresAt(int frame) const {
  const double pan = static_cast<double>(panAt(frame)) / 100.0;
  std::vector<Figure> figures;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    const Object& object = objects[i];
    const std::optional<Place> place = placeOf(object, frame);
    if (!place) continue;
    PixelBox box = boxOf(*place, object.build, options.picture);
    box.left -= pan;
    if (reachesInto(box, options.picture)) {
      figures.push_back({static_cast<int>(i) + 1, object.kind, place->depth, box, 0.0, &object.appearance});
    }
  }
  PixelBox kiosk = kioskBox(options.picture);
  kiosk.left -= pan;
  for (Figure& figure : figures) figure.visibility = visibilityOf(figure, figures, kiosk, options.picture);
  return figures;
}

std::int64_t World::panAt(int frame) const {
  // Parabolas to either side in turn: nearly a sine, and the same on every machine.
  const double seconds = (frame - 1) / options.frameRate;
  const double swings = seconds * options.pan / (4.0 * kPanReach);
  const double swing = std::floor(swings);
  const double t = swings - swing;
  const double side = std::fmod(swing, 2.0) == 0.0 ? 1.0 : -1.0;
  return std::llround(side * 4.0 * kPanReach * t * (1.0 - t) * options.picture.width * 100.0);
}

}  // namespace nivra::hostkit
