// The library's trackers against the plain ones, where it is hard to find the same pairs faster.

#include "support/plainTrackers.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>

#include "support/crowd.h"
#include "support/dice.h"
#include "support/listedPairs.h"

namespace nivra::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// What a case does to the frames of a crowd.
enum Twist : unsigned {
  kComeAndGo = 1,    // objects stay away for a while
  kLattice = 2,      // few places and sizes, so that costs tie
  kScatter = 4,      // no object is where it was, and sizes differ
  kDegenerate = 8,   // each object has an odd shape of its own
  kAnyBits = 16,     // numbers of arbitrary bits
  kAppearance = 32,  // features of differing lengths, empty, zero, absent
  kLabels = 64,      // labels without associations, and without entry
  kTimes = 128,      // repeated, earlier, and far apart
  kCamera = 256,     // the camera moves, and can't always tell where to
};

struct Case {
  const char* name;
  std::size_t size;
  int frames;
  unsigned twists;
  void (*tweak)(Settings&) = [](Settings&) {};
};

float anyFloat(std::mt19937& random) {
  constexpr float kOdd[] = {kNan, kInfinity, -kInfinity, 0.0F, -0.0F, 1e-41F, 3e38F, -3e38F, 1e19F};
  if (random() % 2 == 0) return kOdd[random() % std::size(kOdd)];
  const auto bits = static_cast<std::uint32_t>(random());
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

/// The box in the shape that belongs to an object.
Box degenerate(const Box& box, int object) {
  const auto& [left, top, right, bottom] = box;
  const Box shapes[] = {box,
                        {left, top, left, bottom},                       // no width
                        {left, top, left, top},                          // no size
                        {right, top, left, bottom},                      // negative width
                        {left, bottom, right, top},                      // negative height
                        {right, bottom, left, top},                      // both negative
                        {left + 2.5F, top, right + 2.5F, bottom},        // outside of the picture
                        {left * 40, top * 40, right * 40, bottom * 40},  // far outside, or larger than the picture
                        {left - 1e18F, top + 1e18F, right + 1e18F, bottom - 1e18F},       // of hardly finite area
                        {left * 1e-41F, top * 1e-41F, right * 1e-41F, bottom * 1e-41F}};  // denormal
  return shapes[std::abs(object) % 10];
}

std::vector<ObjectDetection> nextFrame(Crowd& crowd, Dice& dice, unsigned twists, int frame, std::mt19937& random) {
  std::vector<ObjectDetection> detections;
  for (ObjectDetection each : crowd.nextFrame()) {
    if ((twists & kComeAndGo) != 0 && (frame / 8 + each.id) % 3 == 0) continue;
    each.objectness = static_cast<float>(random() % 101);
    if ((twists & kScatter) != 0) {
      each.box = boxAt(dice.between(-1.2F, 1.2F), dice.between(-1, 1), dice.between(0, 0.5F), dice.between(0, 1));
    }
    for (float* edge : {&each.box.left, &each.box.top, &each.box.right, &each.box.bottom}) {
      if ((twists & kLattice) != 0) *edge = std::round(*edge * 8.0F) / 8.0F;
      if ((twists & kAnyBits) != 0 && random() % 12 == 0) *edge = anyFloat(random);
    }
    if ((twists & kDegenerate) != 0) each.box = degenerate(each.box, each.id);
    if ((twists & kAnyBits) != 0 && random() % 4 == 0) {
      each.score = each.classifications[0].score = anyFloat(random);
      each.objectness = anyFloat(random);
      each.feature = std::vector<float>(2, anyFloat(random));
    }
    if ((twists & kAppearance) != 0) {
      each.feature.emplace(random() % 8 == 0 ? random() % 2 : 2);
      for (float& number : *each.feature) number = random() % 6 == 0 ? 0.0F : dice.between(-1, 1);
      if (random() % 8 == 0) each.feature.reset();
    }
    if ((twists & kLabels) != 0) each.label = std::array{"human", "car", "bus", "cat", ""}[random() % 5];
    detections.push_back(each);
  }
  return detections;
}

std::uint64_t nextTime(std::uint64_t now, unsigned twists, std::mt19937& random) {
  if ((twists & kTimes) == 0) return now + kFrame;
  const std::array<std::uint64_t, 7> times = {
      now, now, now - 4 * kFrame, now + 1, now + 100 * kSecond, 0, now + (1ULL << 60)};
  const auto choice = random() % 35;
  return choice < times.size() ? times[choice] : now + kFrame;
}

/// Identity and detection of everything that a frame reported and did, the reports to the last bit.
std::string outcome(const ObjectTracker& tracker, const TrackUpdateResult& result,
                    const std::vector<ObjectDetection>& detections) {
  std::ostringstream text;
  text << fingerprint(tracker.getDebugTracks()) << "reported";
  for (const auto& track : tracker.getTracks()) text << ' ' << track.id;
  text << "\nremoved";
  for (const int id : result.removedIds) text << ' ' << id;
  for (const auto& [young, old] : result.mergedIds) text << ", merged " << young << " into " << old;
  for (const auto& each : detections) text << (each.inbetween ? ", between " : ", ") << each.id;
  return text.str();
}

/// Runs a case and returns how many tracks were revived.
std::size_t compare(int selector, const Case& each, std::uint32_t seed, Explainer* explainer = nullptr) {
  Settings settings = defaultSettings({{"human", {"human"}}, {"car", {"car", "bus"}}, {"bus", {}}}, 1.5F);
  each.tweak(settings);
  Camera camera{};
  MotionTrackerServer server;
  server.setCameraMotionTracker(&camera, 0, Camera::move);
  const auto [tracker, plain] = makeBoth(selector, settings);
  tracker->explainTo(explainer);
  Crowd crowd(each.size, seed);
  Dice dice(seed);
  std::mt19937 random(seed);
  std::uint64_t now = 0;
  std::size_t revived = 0;
  const bool hasFaults = (each.twists & (kLabels | kTimes)) != 0;
  for (int frame = 1; frame <= each.frames; ++frame) {
    const auto detections = nextFrame(crowd, dice, each.twists, frame, random);
    now = nextTime(now, each.twists, random);
    camera = {dice.between(-0.1F, 0.1F), dice.between(-0.1F, 0.1F), static_cast<int>(random() % (2 * each.size))};
    const Camera before = camera;
    const auto take = [&, when = now](ObjectTracker& taker, const std::function<void()>& follow) {
      if (hasFaults) testing::internal::CaptureStderr();
      auto own = detections;
      const TrackUpdateResult result = taker.update(own, when);
      camera = before;
      if ((each.twists & kCamera) != 0) follow();
      revived += result.mergedIds.size();
      return outcome(taker, result, own) + (hasFaults ? testing::internal::GetCapturedStderr() : "");
    };
    const std::string expected = take(*plain, [&, p = plain.get()] { p->followCamera(server); });
    const std::string actual = take(*tracker, [&] { server.updateClients(); });
    EXPECT_EQ(actual, expected) << each.name << ", frame " << frame << ", seed " << seed;
    if (actual != expected) break;
  }
  return revived;
}

/// Lives so short that tracks are lost and revived within seconds.
void liveFast(Settings& s) {
  s.reid.minTimeBeforeConfident = kFrame;
  s.reid.minTimeBeforeConfidentId = 2 * kFrame;
  s.reid.inactiveAge = s.reid.maxTentativeAge = 2 * kFrame;
  s.reid.inactiveOverlapExtraTime = 8 * kFrame;
  s.reid.maxReviveFeatureDistance = 2.0F;
}

template <class Change>
void changeLikelihood(Settings& s, Change change) {
  for (vanilla::TrackerParams* params : {&s.vanilla, &s.lowFps}) change(*params);
}

void openGates(Settings& s, float limit) {
  liveFast(s);
  changeLikelihood(s, [limit](auto& p) {
    p.widthFactorGating = p.heightFactorGating = p.widthRelativeDiffGating = p.heightRelativeDiffGating = limit;
    p.expirationLikelihoodThreshold = -100;
  });
}

void setNoise(Settings& s, float variance, KalmanParams1d KalmanBoxParams::*axis) {
  openGates(s, kInfinity);
  changeLikelihood(s, [=](auto& p) {
    for (auto* each : {&(p.kalmanParams.*axis), &p.kalmanParams.hParams}) {
      each->observationNoiseVariance = variance;
      each->initialVelocityVariance = 3;  // so that the sum of all variances is not of one sign for long
    }
  });
  s.reid.kalmanParams.defaultObservationNoise = variance;
  s.reid.maxIouDistance = s.reid.maxFeatureDistance = 2;
}

void setReid(Settings& s, float limit) {
  liveFast(s);
  s.reid.kalmanParams.mahalanobisLimit = s.reid.maxIouDistance = s.reid.maxFeatureDistance = limit;
  s.reid.maxReviveFeatureDistance = limit;
}

void setOverlaps(Settings& s, float limit) {
  liveFast(s);
  s.reid.maxStoreFeaturesIou = s.reid.inBetween.minIou = limit;
  s.reid.inBetween.maxAngle = 0.9F;
  s.reid.reviveQuantile = limit;
}

void setThresholds(Settings& s, float expiration, float confidence, float absorption) {
  liveFast(s);
  changeLikelihood(s, [=](auto& p) {
    p.expirationLikelihoodThreshold = expiration;
    p.confidentLikelihoodThreshold = confidence;
    p.scoreAbsorption = absorption;
  });
  s.reid.scoreAbsorption = absorption;
  s.reid.lambda = confidence;
}

constexpr unsigned kOddities = kLattice | kDegenerate | kComeAndGo | kCamera;

const Case kCases[] = {
    {"some", 20, 60, kComeAndGo | kCamera, liveFast},
    {"many", 80, 12, kComeAndGo},
    {"dense", 300, 3, 0},
    {"dense lattice", 150, 4, kLattice, liveFast},
    {"lattice", 30, 40, kLattice | kComeAndGo, liveFast},
    {"scattered over a lattice", 30, 30, kScatter | kLattice, [](Settings& s) { openGates(s, kInfinity); }},
    {"any bits", 20, 40, kAnyBits | kCamera, liveFast},
    {"any bits, open gates", 20, 30, kAnyBits, [](Settings& s) { openGates(s, kInfinity); }},
    {"labels", 8, 20, kLabels | kAppearance, liveFast},
    {"times", 8, 200, kTimes | kComeAndGo,
     [](Settings& s) {
       liveFast(s);
       s.reid.maxFeatureDistance = 0.0005F;
       s.reid.kalmanParams.mahalanobisLimit = kInfinity;
     }},
    {"times and labels", 5, 40, kTimes | kLabels | kDegenerate | kCamera, [](Settings& s) { openGates(s, kNan); }},
    {"gates open", 20, 20, kOddities, [](Settings& s) { openGates(s, kInfinity); }},
    {"gates huge", 20, 20, kOddities, [](Settings& s) { openGates(s, 1e30F); }},
    {"gates negative", 20, 20, kOddities, [](Settings& s) { openGates(s, -0.5F); }},
    {"noise huge", 20, 20, kOddities, [](Settings& s) { setNoise(s, 1e9F, &KalmanBoxParams::xParams); }},
    {"noise negative", 20, 20, kOddities, [](Settings& s) { setNoise(s, -0.1F, &KalmanBoxParams::yParams); }},
    {"noise partly negative", 20, 20, kDegenerate, [](Settings& s) { setNoise(s, -0.02F, &KalmanBoxParams::xParams); }},
    {"noise infinite", 20, 20, kOddities, [](Settings& s) { setNoise(s, kInfinity, &KalmanBoxParams::wParams); }},
    {"galleries decide", 8, 120, kAppearance,
     [](Settings& s) {
       setReid(s, kInfinity);
       s.reid.lambda = 0;
       s.reid.maxStoreFeaturesIou = 1;
     }},
    {"everything admitted", 20, 30, kOddities | kAnyBits, [](Settings& s) { setReid(s, kInfinity); }},
    {"not a number", 20, 20, kOddities, [](Settings& s) { setReid(s, kNan); }},
    {"negative limits", 20, 20, kOddities, [](Settings& s) { setReid(s, -1); }},
    {"negative overlaps", 15, 30, kOddities, [](Settings& s) { setOverlaps(s, -1); }},
    {"negative overlaps of few", 4, 60, kAppearance, [](Settings& s) { setOverlaps(s, -1); }},
    {"high overlaps", 30, 30, kOddities, [](Settings& s) { setOverlaps(s, 0.3F); }},
    {"overlaps not a number", 15, 20, kOddities, [](Settings& s) { setOverlaps(s, kNan); }},
    {"nobody ends", 10, 40, kOddities, [](Settings& s) { setThresholds(s, -kInfinity, -1, 2); }},
    {"thresholds not a number", 10, 30, kOddities, [](Settings& s) { setThresholds(s, kNan, kNan, kNan); }},
    {"revivals tried out", 20, 80, kComeAndGo | kAppearance,
     [](Settings& s) {
       setReid(s, kInfinity);
       s.reid.maxReviveFeatureDistance = 0.1F;
       s.reid.maxReviveAttempts = 2;
       s.reid.maxDynamicReviveAge = 4 * kFrame;
     }},
    {"objectness", 20, 40, kComeAndGo,
     [](Settings& s) {
       s.vanilla = vanillaParams({{"vanilla.kalman.objectnessClasses", "human, 0.5, car, 0.9"}});
     }},
};

class PlainTrackers : public testing::TestWithParam<int> {};

TEST_P(PlainTrackers, EqualTheLibrarysBitForBit) {
  std::size_t revived = 0;
  for (const Case& each : kCases) {
    revived += compare(GetParam(), each, 20261123);
  }
  const bool revives = GetParam() == 1 || GetParam() == 2;
  EXPECT_EQ(revived > 50, revives);
}

TEST_P(PlainTrackers, EqualTheLibrarysWherePairsAreTooManyToBeListed) {
  for (const std::size_t perElement : {0U, 1U}) {
    const ListedPairs listed(perElement);
    for (const Case& each : kCases) compare(GetParam(), each, 20261123);
  }
}

TEST_P(PlainTrackers, EqualTheLibrarysWhichExplainThemselves) {
  struct : Explainer {
    void explainPair(const PairExplanation& explanation) override { pairs += explanation.verdicts.size(); }
    std::size_t pairs = 0;
  } explainer;
  for (const Case& each : kCases) {
    if (each.size <= 20) compare(GetParam(), each, 20261123, &explainer);
  }
  EXPECT_GT(explainer.pairs, 10'000U);
}

INSTANTIATE_TEST_SUITE_P(All, PlainTrackers, testing::Range(0, 4));

}  // namespace
}  // namespace nivra::test
