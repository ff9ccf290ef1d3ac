#include "simulation.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <random>
#include <system_error>
#include <vector>

#include "appearanceFeatures.h"
#include "errors.h"
#include "output.h"

namespace nivra::tool {

namespace {

namespace fs = std::filesystem;

/// Random numbers that are the same everywhere: the standard's distributions are left to each implementation, and
/// so is the accuracy of its transcendental functions.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine(seed) {}

  double uniform(double least, double most) {
    constexpr double kSteps = 9007199254740992.0;  // 2^53, the resolution of a double
    return least + (most - least) * (static_cast<double>(engine() >> 11U) / kSteps);
  }

  bool chance(double probability) { return uniform(0.0, 1.0) < probability; }

  /// Close to a normal distribution: twelve uniform numbers have a variance of 1 together.
  double normal() {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i) sum += uniform(0.0, 1.0);
    return sum;
  }

 private:
  std::mt19937_64 engine;
};

/// A place on the plaza: x in picture widths, depth from 0 (far) to 1 (near).
struct Place {
  double x;
  double depth;
};

double distance(Place a, Place b) {
  return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.depth - b.depth) * (a.depth - b.depth));
}

using Appearance = std::array<double, 16>;

/// Someone who enters at one side of the picture, walks a curve and leaves at a side.
struct Walker {
  Place from;
  Place via;  // where the curve bends
  Place to;
  double start;  // frame
  double duration;
  double tallness;
  Appearance appearance;
};

/// A walker in one frame.
struct Figure {
  int person;
  double depth;
  PixelBox box;
  double visibility;
  const Appearance* appearance;
};

Place sidePlace(Random& random, bool rightSide) {
  constexpr double kBeyondBorder = 0.07;
  return {rightSide ? 1.0 + kBeyondBorder : -kBeyondBorder, random.uniform(0.0, 1.0)};
}

/// A random direction, as appearance features are compared by their angle.
Appearance normalised(Appearance appearance) {
  double squares = 0.0;
  for (const double number : appearance) squares += number * number;
  for (double& number : appearance) number /= std::sqrt(squares);
  return appearance;
}

Appearance randomAppearance(Random& random) {
  Appearance appearance;
  for (double& number : appearance) number = random.normal();
  return normalised(appearance);
}

Walker makeWalker(Random& random, const SimulationOptions& options) {
  constexpr double kWidthsPerSecond = 0.14;
  const bool fromRight = random.chance(0.5);
  const bool turnsBack = random.chance(0.2);

  Walker walker{};
  walker.from = sidePlace(random, fromRight);
  walker.to = sidePlace(random, fromRight == turnsBack);
  walker.via.x = random.uniform(0.3, 0.7);
  walker.via.depth = random.uniform(0.0, 1.0);
  walker.tallness = random.uniform(0.9, 1.1);
  walker.appearance = randomAppearance(random);

  // The curve is about half-way between its chord and its two legs; who walks far away seems slower.
  const double legs = distance(walker.from, walker.via) + distance(walker.via, walker.to);
  const double length = (legs + distance(walker.from, walker.to)) / 2.0;
  const double speed = kWidthsPerSecond * (0.6 + 0.8 * walker.via.depth) * random.uniform(0.8, 1.2);
  walker.duration = length / speed * options.frameRate;
  walker.start = random.uniform(-0.5 * walker.duration, options.frames - 0.3 * walker.duration);
  return walker;
}

double bend(double from, double via, double to, double t) {
  return (1.0 - t) * (1.0 - t) * from + 2.0 * t * (1.0 - t) * via + t * t * to;
}

PixelBox boxOf(Place place, double tallness, PictureSize picture) {
  const double height = picture.height * (0.16 + 0.26 * place.depth) * tallness;
  const double width = 0.38 * height;
  const double foot = picture.height * (0.40 + 0.55 * place.depth);
  return {place.x * picture.width - width / 2.0, foot - height, width, height};
}

bool contains(const PixelBox& box, double x, double y) {
  return x >= box.left && x < box.left + box.width && y >= box.top && y < box.top + box.height;
}

/// A kiosk in the middle of the plaza, behind which people vanish for a while.
PixelBox kioskBox(PictureSize picture) {
  return {0.42 * picture.width, 0.05 * picture.height, 0.22 * picture.width, 0.78 * picture.height};
}
constexpr double kKioskDepth = 0.7;

/// The share of a figure that is inside the picture and neither behind the kiosk nor behind a nearer figure.
double visibilityOf(const Figure& figure, const std::vector<Figure>& figures, PictureSize picture) {
  constexpr int kColumns = 8;
  constexpr int kRows = 16;
  const PixelBox whole = {0.0, 0.0, static_cast<double>(picture.width), static_cast<double>(picture.height)};
  int visible = 0;
  for (int cell = 0; cell < kColumns * kRows; ++cell) {
    const int row = cell / kColumns;
    const int column = cell % kColumns;
    const double x = figure.box.left + figure.box.width * (column + 0.5) / kColumns;
    const double y = figure.box.top + figure.box.height * (row + 0.5) / kRows;
    const bool behindKiosk = figure.depth < kKioskDepth && contains(kioskBox(picture), x, y);
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

std::vector<Figure> figuresAt(int frame, const std::vector<Walker>& walkers, PictureSize picture) {
  std::vector<Figure> figures;
  for (std::size_t i = 0; i < walkers.size(); ++i) {
    const Walker& walker = walkers[i];
    const double t = (frame - walker.start) / walker.duration;
    if (t < 0.0 || t > 1.0) continue;
    const Place place = {bend(walker.from.x, walker.via.x, walker.to.x, t),
                         bend(walker.from.depth, walker.via.depth, walker.to.depth, t)};
    const PixelBox box = boxOf(place, walker.tallness, picture);
    if (reachesInto(box, picture))
      figures.push_back({static_cast<int>(i) + 1, place.depth, box, 0.0, &walker.appearance});
  }
  for (Figure& figure : figures) figure.visibility = visibilityOf(figure, figures, picture);
  return figures;
}

struct SimulatedDetection {
  PixelBox box;
  double confidence;
  Appearance feature;
};

SimulatedDetection detect(const Figure& figure, Random& random) {
  const double spread = 0.02 * figure.box.height;
  SimulatedDetection detection{figure.box, 0.0, *figure.appearance};
  detection.box.left += spread * random.normal();
  detection.box.top += spread * random.normal();
  detection.box.width = std::max(1.0, detection.box.width + spread * random.normal());
  detection.box.height = std::max(1.0, detection.box.height + spread * random.normal());
  const double confidence = 0.45 + 0.5 * figure.visibility + 0.05 * random.normal();
  detection.confidence = std::clamp(confidence, 0.3, 1.0);
  // The less of a person is to be seen, the less the feature says of them.
  const double doubt = 0.07 + 0.15 * (1.0 - figure.visibility);
  for (double& number : detection.feature) number += doubt * random.normal();
  detection.feature = normalised(detection.feature);
  return detection;
}

SimulatedDetection imagine(Random& random, PictureSize picture) {
  Place place{};
  place.x = random.uniform(0.05, 0.95);
  place.depth = random.uniform(0.0, 1.0);
  const double tallness = random.uniform(0.6, 1.2);
  const double confidence = random.uniform(0.3, 0.6);
  return {boxOf(place, tallness, picture), confidence, randomAppearance(random)};
}

std::vector<SimulatedDetection> detectionsOf(const std::vector<Figure>& figures, Random& random, PictureSize picture) {
  std::vector<SimulatedDetection> detections;
  for (const Figure& figure : figures) {
    const double covered = 1.0 - figure.visibility;
    if (random.chance(0.97 * (1.0 - covered * covered))) detections.push_back(detect(figure, random));
  }
  if (random.chance(0.06)) detections.push_back(imagine(random, picture));
  // As detectors do, and so that the order does not give the people away.
  std::stable_sort(detections.begin(), detections.end(), [](const SimulatedDetection& a, const SimulatedDetection& b) {
    return a.confidence > b.confidence;
  });
  return detections;
}

std::string boxColumns(const PixelBox& box) {
  return fmt::format("{:.2f},{:.2f},{:.2f},{:.2f}", box.left, box.top, box.width, box.height);
}

std::string describeSequence(const std::string& name, const SimulationOptions& options) {
  return fmt::format("[Sequence]\nname={}\nframeRate={}\nseqLength={}\nimWidth={}\nimHeight={}\n", name,
                     options.frameRate, options.frames, options.picture.width, options.picture.height);
}

}  // namespace

void simulate(const SimulationOptions& options) {
  const fs::path folder = fs::absolute(options.folder).lexically_normal();
  const std::string name = (folder.has_filename() ? folder : folder.parent_path()).filename().string();
  const Target target = {std::cout, options.folder, true};
  const auto truth = openInside(target, "gt/gt.txt");
  const auto detected = openInside(target, "det/det.txt");
  const auto appearance = openInside(target, "det/feat.bin");
  const auto description = openInside(target, "seqinfo.ini");

  Random random(options.seed);
  std::vector<Walker> walkers;
  for (int person = 0; person < options.people; ++person) walkers.push_back(makeWalker(random, options));
  std::vector<std::vector<float>> features;

  for (int frame = 1; frame <= options.frames; ++frame) {
    const std::vector<Figure> figures = figuresAt(frame, walkers, options.picture);
    for (const Figure& figure : figures) {
      truth->write(
          fmt::format("{},{},{},1,1,{:.2f}\n", frame, figure.person, boxColumns(figure.box), figure.visibility));
    }
    for (const SimulatedDetection& each : detectionsOf(figures, random, options.picture)) {
      detected->write(fmt::format("{},-1,{},{:.2f},-1,-1,-1\n", frame, boxColumns(each.box), each.confidence));
      features.emplace_back(each.feature.begin(), each.feature.end());
    }
  }
  appearance->write(encodeFeatures(features));
  description->write(describeSequence(name, options));
  truth->finish();
  detected->finish();
  appearance->finish();
  description->finish();
}

}  // namespace nivra::tool
