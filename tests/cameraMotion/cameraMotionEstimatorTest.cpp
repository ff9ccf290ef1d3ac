#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>

#include "support/detections.h"
#include "support/dice.h"

namespace nivra::test {
namespace {

using Verdict = CameraMotionEstimate::Verdict;

constexpr std::uint64_t kWarmUp = 50;  // frames in which the cameras below stand still

/// Where a camera looks after some seconds: what is at (x, y) in the world is at (zoom x + x0, zoom y + y0).
struct View {
  double zoom = 1.0;
  double x = 0.0;
  double y = 0.0;
};
using Camera = std::function<View(double)>;

View standing(double) { return {}; }

/// People who walk about in a world, and the picture that a camera with a detector has of them.
class Street {
 public:
  struct Walker {
    float x, y, size, velocity;
  };

  Street(std::size_t people, std::uint32_t seed) : dice(seed) {
    for (std::size_t i = 0; i < people; ++i) {
      walkers.push_back({dice.between(-0.9F, 0.9F), dice.between(-0.5F, 0.5F), dice.between(0.04F, 0.1F),
                         dice.between(-0.15F, 0.15F)});
    }
  }

  std::vector<ObjectDetection> look(const View& view) {
    std::vector<ObjectDetection> detections;
    for (Walker& walker : walkers) {
      walker.x += walker.velocity * 0.04F;
      if (std::abs(walker.x) > 1.0F) walker.x = -std::copysign(1.0F, walker.x);  // in again on the other side
      const auto zoom = static_cast<float>(view.zoom);
      const float width = walker.size * zoom;
      const float x = zoom * walker.x + static_cast<float>(view.x) + width * noise();
      const float y = zoom * walker.y + static_cast<float>(view.y) + width * noise();
      const float seenWidth = width * (1.0F + noise());
      detections.push_back(
          detectionOf(boxAt(x, y, seenWidth, 4.0F * width), "human", static_cast<int>(detections.size())));
    }
    return detections;
  }

  Dice dice;
  std::vector<Walker> walkers;

 private:
  float noise() { return dice.between(-0.03F, 0.03F); }
};

/// A camera's tracker, and the estimator that tells it how the camera moves.
class Host {
 public:
  CameraMotionEstimate see(std::vector<ObjectDetection> detections) {
    timestamp += kFrame;
    const CameraMotionEstimate motion = estimator.estimate(detections, timestamp);
    if (motion.verdict == Verdict::moving) moveTracks(server, motion.map);
    tracker->update(detections, timestamp);
    tracker->getTracks(reports);
    estimator.follow(reports);
    return motion;
  }

  MotionTrackerServer server;  // before the tracker, which subscribes to it
  std::unique_ptr<ObjectTracker> tracker = makeTracker(0, {}, kHumansAndCars, 16.0F / 9.0F, &server);
  CameraMotionEstimator estimator;
  std::vector<TrackReport> reports;

 private:
  std::uint64_t timestamp = 0;
};

/// How far the map puts points from where they are now, on average, in pixels of a picture of 1920x1080.
double errorInPixels(const PictureMap& map, const View& before, const View& now) {
  double sum = 0.0;
  for (const Point point : {Point{-0.5F, -0.5F}, Point{-0.5F, 0.5F}, Point{0.5F, -0.5F}, Point{0.5F, 0.5F}}) {
    const double x = (point.x - before.x) / before.zoom * now.zoom + now.x;
    const double y = (point.y - before.y) / before.zoom * now.zoom + now.y;
    sum += std::hypot((map(point).x - x) * 960.0, (map(point).y - y) * 540.0);
  }
  return sum / 4.0;
}

/// To and fro, from a standstill after the warm-up.
double swing(double seconds, double reach, double period) {
  const double since = seconds - static_cast<double>(kWarmUp) * 0.04;
  return since < 0.0 ? 0.0 : reach * (1.0 - std::cos(since * 2.0 * 3.14159265358979 / period));
}

struct Movement {
  const char* name;
  Camera camera;
  double mostPixels;  ///< Of error, on average over the frames after the warm-up; a third of the movement or less.
};

const Movement kMovements[] = {
    {"pan",
     [](double t) {
       return View{1.0, swing(t, 0.2, 3.0), 0.0};
     },
     2.0},
    {"tilt",
     [](double t) {
       return View{1.0, 0.0, swing(t, 0.15, 3.0)};
     },
     1.4},
    {"zoom",
     [](double t) {
       return View{std::exp(swing(t, 0.3, 4.0)), 0.0, 0.0};
     },
     2.8},
    {"hand",
     [](double t) {
       return View{1.0, swing(t, 0.03, 0.9), swing(t, 0.03, 0.5)};
     },
     1.2},
};
const Camera& kHand = kMovements[3].camera;

TEST(CameraMotionEstimator, FollowsACameraThatMoves) {
  for (const Movement& movement : kMovements) {
    SCOPED_TRACE(movement.name);
    Street street(15, 7);
    Host host;
    double error = 0.0;
    double distance = 0.0;
    constexpr std::uint64_t kFrames = 500;
    for (std::uint64_t frame = 1; frame <= kFrames; ++frame) {
      const View before = movement.camera(static_cast<double>(frame - 1) * 0.04);
      const View now = movement.camera(static_cast<double>(frame) * 0.04);
      const CameraMotionEstimate motion = host.see(street.look(now));
      if (frame <= kWarmUp) continue;
      error += errorInPixels(motion.map, before, now) / (kFrames - kWarmUp);
      distance += errorInPixels({}, before, now) / (kFrames - kWarmUp);
    }
    EXPECT_GT(distance, 2.3 * movement.mostPixels);
    EXPECT_LT(error, movement.mostPixels);
  }
}

TEST(CameraMotionEstimator, LeavesACameraAloneThatStands) {
  struct Case {
    const char* name;
    std::size_t people;
    float leastVelocity, mostVelocity;
  };
  for (const Case& each : {Case{"a few", 5, -0.15F, 0.15F}, Case{"a crowd", 60, -0.15F, 0.15F},
                           Case{"all walk one way", 15, 0.1F, 0.2F}, Case{"all at one pace", 15, 0.15F, 0.15F}}) {
    for (std::uint32_t seed = 1; seed <= 5; ++seed) {
      SCOPED_TRACE(each.name + (" with seed " + std::to_string(seed)));
      Street street(each.people, seed);
      for (Street::Walker& walker : street.walkers) {
        walker.velocity = street.dice.between(each.leastVelocity, each.mostVelocity);
      }
      Host host;
      for (int frame = 0; frame < 400; ++frame) {
        const CameraMotionEstimate motion = host.see(street.look({}));
        ASSERT_NE(motion.verdict, Verdict::moving) << "frame " << frame;
        ASSERT_NE(motion.verdict, Verdict::cut) << "frame " << frame;
      }
    }
  }
}

TEST(CameraMotionEstimator, NeedsFourToJudgeAndThreeToFollow) {
  int moving[6] = {};
  for (std::size_t people = 0; people < 6; ++people) {
    Street street(6, 3);
    Host host;
    for (int frame = 0; frame < 300; ++frame) {
      if (frame == 200) street.walkers.resize(people);
      const CameraMotionEstimate motion = host.see(street.look(kHand(frame * 0.04)));
      if (frame < 210) continue;
      moving[people] += static_cast<int>(motion.verdict == Verdict::moving);
      if (people < 3) {
        EXPECT_EQ(motion.verdict, Verdict::unknown);
      }
    }
  }
  EXPECT_EQ(moving[2], 0);
  EXPECT_GT(moving[3], 70);
  for (const std::size_t people : {std::size_t{3}, std::size_t{4}}) {
    Street street(people, 3);
    Host host;
    int moves = 0;
    CameraMotionEstimate motion;
    for (int frame = 0; frame < 300; ++frame) {
      motion = host.see(street.look(kHand(frame * 0.04)));
      moves += static_cast<int>(motion.verdict == Verdict::moving);
    }
    // Three tell nothing, for however long they do.
    EXPECT_TRUE(people == 3 ? moves == 0 && motion.movingProbability < 0.11F : moves > 150) << people << ": " << moves;
  }
}

TEST(CameraMotionEstimator, TellsACutAndMovesNothing) {
  for (const bool moves : {false, true}) {
    SCOPED_TRACE(moves ? "moving" : "standing");
    const Camera camera = moves ? kHand : standing;
    Street here(15, 5);
    Street there(15, 6);
    Host host;
    for (int frame = 0; frame < 300; ++frame) {
      const View view = camera(frame * 0.04);
      const CameraMotionEstimate motion = host.see(frame < 200 ? here.look(view) : there.look(view));
      EXPECT_EQ(motion.verdict == Verdict::cut, frame == 200) << "frame " << frame;
      if (motion.verdict == Verdict::moving) continue;
      EXPECT_EQ(motion.map.a, 1.0F);
      EXPECT_EQ(motion.map.c, 0.0F);
      EXPECT_EQ(motion.map.f, 0.0F);
    }
  }
}

TEST(CameraMotionEstimator, BeginsAnewAfterAGap) {
  Street street(15, 5);
  Host host;
  for (int frame = 0; frame < 200; ++frame) host.see(street.look(kHand(frame * 0.04)));
  const auto detections = street.look({});
  for (const std::uint64_t timestamp : {std::uint64_t{1}, std::uint64_t{1}, 100 * kSecond}) {
    EXPECT_EQ(host.estimator.estimate(detections, timestamp).verdict, Verdict::unknown) << timestamp;
    host.estimator.follow(host.reports);
  }
}

TEST(CameraMotionEstimator, SurvivesAnyNumbers) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const float values[] = {0.0F, -1.0F, 1.0F, 0.3F, 0.30001F, 1e-30F, -1e30F, kInfinity, -kInfinity, std::nanf("")};
  Dice dice(11);
  const auto any = [&] {
    return dice.happens(0.7F) ? dice.between(-1.0F, 1.0F) : values[dice.below(std::size(values))];
  };
  CameraMotionEstimator estimator;
  for (std::uint64_t frame = 1; frame < 3000; ++frame) {
    std::vector<TrackReport> tracks(dice.below(50));
    for (TrackReport& track : tracks) {
      track.track.box = {any(), any(), any(), any()};
      track.track.velocityX = any();
      track.track.confident = true;
      track.detectionId = static_cast<std::int32_t>(dice.below(40)) - 2;
    }
    std::vector<ObjectDetection> detections(dice.below(50));
    for (ObjectDetection& detection : detections) {
      detection.box = {any(), any(), any(), any()};
      if (!tracks.empty() && dice.happens(0.7F)) detection.box = tracks[dice.below(tracks.size())].track.box;
      detection.id = static_cast<std::int32_t>(dice.below(40));
    }
    estimator.follow(tracks);
    const CameraMotionEstimate motion = estimator.estimate(detections, frame * kFrame);
    for (const float number : {motion.map.a, motion.map.c, motion.map.e, motion.map.f, motion.standardError.x,
                               motion.standardError.y, motion.movingProbability}) {
      ASSERT_TRUE(std::isfinite(number)) << "frame " << frame;
    }
  }
}

}  // namespace
}  // namespace nivra::test
