// Lets the four trackers run for millions of frames in a world where people come, go and come back, and fails if the
// process grows; then for hours in one where nobody leaves, and fails if anybody gets a second identity.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "scene.h"

namespace nivra::bench {

namespace {

constexpr std::size_t kPeople = 6;
constexpr std::size_t kCars = 3;
constexpr int kFeatureLength = 16;
constexpr int kFramesPerSecond = 25;
constexpr int kTrackers = 4;
constexpr long kMaxGrowthInKilobytes = 1024;
constexpr int kReports = 10;
constexpr const char* kNames[kTrackers] = {"vanilla", "reid", "hybrid", "lowFps"};

/// Memory of the process that is in RAM, in kilobytes.
long residentKilobytes() {
  std::ifstream statm("/proc/self/statm");
  long total = 0;
  long resident = 0;
  if (!(statm >> total >> resident)) throw std::runtime_error("cannot read /proc/self/statm");
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/// A number of frames between two times in seconds.
int framesBetween(float low, float high, Random& random) {
  return static_cast<int>(random.between(low, high) * kFramesPerSecond);
}

/// A person or car that is replaced by another one when it leaves.
class Visitor {
 public:
  Visitor(bool visitorIsPerson, Random& random) : isPerson(visitorIsPerson) { enter(random); }

  void advance(Random& random) {
    center.x += velocity.x;
    center.y += velocity.y;
    if (std::abs(center.x) > kBorder) velocity.x = std::copysign(velocity.x, -center.x);
    if (std::abs(center.y) > kBorder) velocity.y = std::copysign(velocity.y, -center.y);
    if (--framesLeft > 0) return;
    if (isAway && isComingBack) {
      isAway = false;
      framesLeft = framesBetween(6.0F, 20.0F, random);
    } else if (isAway) {
      enter(random);
    } else {
      isAway = true;
      isComingBack = isPerson && random.chance(0.6F);
      framesLeft = framesBetween(2.0F, 4.0F, random);
    }
  }

  void shift(const Point& offset) {
    center.x = std::clamp(center.x + offset.x, -kBorder, kBorder);
    center.y = std::clamp(center.y + offset.y, -kBorder, kBorder);
  }

  void detect(Detections& frame, Random& random) const {
    if (isAway || random.chance(0.05F)) return;
    const float noise = 0.001F;
    const Point seen = {center.x + random.between(-noise, noise), center.y + random.between(-noise, noise)};
    frame.push_back(hostkit::detectionAt(seen, isPerson ? 0.08F : 0.2F, isPerson ? 0.3F : 0.15F, isPerson,
                                         static_cast<std::int32_t>(frame.size())));
    frame.back().attributes = {{isPerson ? 1 : 2, 3, 70.0F}};
    if (isPerson) frame.back().feature = hostkit::seenAs(appearance, random);
  }

 private:
  static constexpr float kBorder = 0.8F;

  void enter(Random& random) {
    center = {random.between(-kBorder, kBorder), random.between(-kBorder, kBorder)};
    velocity = {random.between(-0.001F, 0.001F), random.between(-0.001F, 0.001F)};
    if (isPerson) appearance = hostkit::randomAppearance(random, kFeatureLength);
    isAway = false;
    framesLeft = framesBetween(6.0F, 20.0F, random);
  }

  bool isPerson;
  Point center;
  Point velocity;
  hostkit::Appearance appearance;
  bool isAway = false;
  bool isComingBack = false;
  int framesLeft = 0;
};

/// What the tracker, not the world, made of the frames.
struct Counts {
  long births = 0;
  long removals = 0;
  long revivals = 0;
  long cameraMovements = 0;
};

/// A camera that moves now and then, what it sees, and its tracker.
class Camera {
 public:
  explicit Camera(int selector) : random(static_cast<std::uint32_t>(selector) + 1) {
    server.setCameraMotionTracker(this, 0, moved);
    tracker = makeTracker(selector, {}, labelAssociations(), kAspectRatio, &server);
    for (std::size_t i = 0; i < kPeople; ++i) visitors.emplace_back(true, random);
    for (std::size_t i = 0; i < kCars; ++i) visitors.emplace_back(false, random);
  }

  void nextFrame() {
    for (Visitor& visitor : visitors) visitor.advance(random);
    if (random.chance(1.0F / 1000.0F)) moveCamera();
    frame.clear();
    for (const Visitor& visitor : visitors) visitor.detect(frame, random);
    timestamp += kFrameDuration;
    const TrackUpdateResult result = tracker->update(frame, timestamp);
    counts.removals += static_cast<long>(result.removedIds.size());
    counts.revivals += static_cast<long>(result.mergedIds.size());
    for (const TrackedObjectDetection& track : tracker->getTracks()) countBirth(track.id);
  }

  const Counts& getCounts() const { return counts; }

 private:
  static bool moved(void* camera, int, Point& point) {
    auto& self = *static_cast<Camera*>(camera);
    point.x += self.offset.x;
    point.y += self.offset.y;
    self.wasAsked = true;
    return true;
  }

  void moveCamera() {
    offset = {random.between(-0.1F, 0.1F), random.between(-0.1F, 0.1F)};
    for (Visitor& visitor : visitors) visitor.shift(offset);
    wasAsked = false;
    server.updateClients();
    if (wasAsked) ++counts.cameraMovements;
  }

  /// Identities ascend, in the hybrid tracker those of its two halves, which are even and odd, each on its own.
  void countBirth(std::int32_t id) {
    std::int32_t& latest = latestIds[static_cast<std::size_t>(id % 2)];
    if (id <= latest) return;
    latest = id;
    ++counts.births;
  }

  MotionTrackerServer server;
  std::unique_ptr<ObjectTracker> tracker;
  Random random;
  std::vector<Visitor> visitors;
  Detections frame;
  unsigned long long timestamp = 0;
  Point offset;
  bool wasAsked = false;
  std::array<std::int32_t, 2> latestIds = {-1, -1};
  Counts counts;
};

/// A person or car that stays in view and away from all others, swaying at up to half of a person's width a second.
class Resident {
 public:
  Resident(std::size_t residentNumber, Random& random)
      : number(residentNumber),
        isPerson(number % 2 == 0),
        home{-0.75F + 0.5F * static_cast<float>(number % 4), number < 4 ? -0.45F : 0.45F},
        period{random.between(15.0F, 45.0F), random.between(15.0F, 45.0F)},
        missRate(random.between(0.05F, 0.1F)) {
    if (isPerson) appearance = hostkit::randomAppearance(random, kFeatureLength);
  }

  void detect(double seconds, Detections& frame, Random& random) {
    ++frames;
    // A tracker has to know it before it can keep it, and no tracker is meant to wait for long.
    const bool canBeMissed = seconds > kSecondsUnmissed && missesInARow < kMaxMissesInARow;
    if (canBeMissed && random.chance(missRate)) {
      ++missesInARow;
      ++misses;
      return;
    }
    missesInARow = 0;
    const auto sway = [&](float place, float oneWay) {
      const float noise = 0.001F;
      return place + kReach * static_cast<float>(std::sin(kTwoPi * seconds / oneWay)) + random.between(-noise, noise);
    };
    frame.push_back(hostkit::detectionAt({sway(home.x, period.x), sway(home.y, period.y)}, isPerson ? 0.08F : 0.2F,
                                         isPerson ? 0.3F : 0.15F, isPerson, static_cast<std::int32_t>(number)));
    if (isPerson) frame.back().feature = hostkit::seenAs(appearance, random);
  }

  double missedShare() const { return static_cast<double>(misses) / static_cast<double>(frames); }

 private:
  static constexpr double kTwoPi = 6.283185307179586;
  static constexpr double kSecondsUnmissed = 10.0;
  static constexpr int kMaxMissesInARow = 3;
  static constexpr float kReach = 0.1F;

  std::size_t number;
  bool isPerson;
  Point home;
  Point period;  // seconds
  float missRate;
  hostkit::Appearance appearance;
  int missesInARow = 0;
  long misses = 0;
  long frames = 0;
};

constexpr std::size_t kResidents = 8;

/// @return Whether every resident had one identity, from the first frame to the last.
bool keepsIdentities(int selector, int framesPerSecond, long hours) {
  Random random(static_cast<std::uint32_t>(selector) + 1);
  std::vector<Resident> residents;
  for (std::size_t i = 0; i < kResidents; ++i) residents.emplace_back(i, random);
  const auto tracker = makeTracker(selector, {}, labelAssociations(), kAspectRatio);
  std::array<std::set<std::int32_t>, kResidents> identities;
  double firstChange = -1.0;
  Detections frame;
  for (long i = 0; i < hours * 3600 * framesPerSecond; ++i) {
    const double seconds = static_cast<double>(i) / framesPerSecond;
    frame.clear();
    for (Resident& resident : residents) resident.detect(seconds, frame, random);
    tracker->update(frame, static_cast<unsigned long long>((i + 1) * (1'000'000'000 / framesPerSecond)));
    for (const internal::DebugTrack& debug : tracker->getDebugTracks()) {
      if (debug.lastDetectionId < 0) continue;
      auto& known = identities[static_cast<std::size_t>(debug.lastDetectionId)];
      if (known.insert(debug.track.id).second && known.size() > 1 && firstChange < 0.0) firstChange = seconds;
    }
  }
  std::size_t changes = 0;
  for (const auto& known : identities) changes += known.size() - 1;
  const auto [least, most] = std::minmax_element(residents.begin(), residents.end(), [](const auto& a, const auto& b) {
    return a.missedShare() < b.missedShare();
  });
  std::cout << kNames[selector] << ": " << hours << " h at " << framesPerSecond << " frames a second, "
            << 100.0 * least->missedShare() << " to " << 100.0 * most->missedShare() << " % of " << kResidents
            << " objects' detections missed, " << changes << " further identities";
  if (changes > 0) std::cout << ", the first after " << firstChange << " s";
  std::cout << std::endl;
  return changes == 0;
}

bool stay(long hours) {
  bool everybodyIsKept = true;
  for (int selector = 0; selector < kTrackers; ++selector) {
    for (const int framesPerSecond : {5, 10, 25}) {
      everybodyIsKept = keepsIdentities(selector, framesPerSecond, hours) && everybodyIsKept;
    }
  }
  if (!everybodyIsKept) std::cout << "somebody who never left was taken for somebody else\n";
  return everybodyIsKept;
}

/// @return Whether the process kept its size and every tracker had its share of events.
bool soak(long frames) {
  std::vector<std::unique_ptr<Camera>> cameras;
  for (int selector = 0; selector < kTrackers; ++selector) cameras.push_back(std::make_unique<Camera>(selector));

  const long warmUp = frames / 20;
  const long interval = std::max(1L, frames / kReports);
  long before = 0;
  for (long done = 0; done < frames; ++done) {
    if (done == warmUp) {
      before = residentKilobytes();
      std::cout << "after " << done << " frames: " << before << " kB resident\n";
    }
    cameras[static_cast<std::size_t>(done % kTrackers)]->nextFrame();
    if ((done + 1) % interval == 0) {
      std::cout << "after " << done + 1 << " frames: " << residentKilobytes() << " kB resident" << std::endl;
    }
  }
  const long growth = residentKilobytes() - before;
  std::cout << "growth after warm-up: " << growth << " kB, at most " << kMaxGrowthInKilobytes << " allowed\n";

  bool isEventful = true;
  for (int selector = 0; selector < kTrackers; ++selector) {
    const Counts& counts = cameras[static_cast<std::size_t>(selector)]->getCounts();
    std::cout << kNames[selector] << ": " << counts.births << " births, " << counts.removals << " removals, "
              << counts.revivals << " revivals, " << counts.cameraMovements << " camera movements\n";
    const bool canRevive = selector == 1 || selector == 2;
    isEventful = isEventful && counts.births > 0 && counts.removals > 0 && counts.cameraMovements > 0 &&
                 (counts.revivals > 0 || !canRevive);
  }
  if (!isEventful) std::cout << "something never happened: too few frames, or a fault\n";
  return growth <= kMaxGrowthInKilobytes && isEventful;
}

}  // namespace

}  // namespace nivra::bench

int main(int argc, char** argv) {
  long counts[] = {5'000'000, 8};  // frames and hours
  bool isUsable = argc <= 3;
  for (int i = 1; i < argc && isUsable; ++i) {
    char* end = nullptr;
    counts[i - 1] = std::strtol(argv[i], &end, 10);
    isUsable = end != argv[i] && *end == '\0' && counts[i - 1] >= 1;
  }
  if (!isUsable) {
    std::cerr << "usage: nivra_soak [frames [hours]]\n";
    return 2;
  }
  try {
    const bool isSound = nivra::bench::soak(counts[0]);
    return nivra::bench::stay(counts[1]) && isSound ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "nivra_soak: " << error.what() << '\n';
    return 1;
  }
}
