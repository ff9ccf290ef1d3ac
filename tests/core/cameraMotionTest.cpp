#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/detections.h"

namespace nivra {
namespace {

using test::boxAt;
using test::detectionOf;
using test::kFrame;

/// A pan by `dx`; notes how often it was asked, and runs `onPosition` each time.
struct Pan {
  float dx = 0.25F;
  int calls = 0;
  int channel = -1;
  bool answers = true;
  void (*onPosition)() = nullptr;

  static bool position(void* self, int channel, Point& point) {
    auto& pan = *static_cast<Pan*>(self);
    ++pan.calls;
    pan.channel = channel;
    if (pan.onPosition != nullptr) pan.onPosition();
    point.x += pan.dx;
    return pan.answers;
  }
};

std::unique_ptr<ObjectTracker> trackerWithOneTrack(float x = 0.0F) {
  auto tracker = makeTracker(0, {}, test::kHumansAndCars, 1.0F);
  std::vector<ObjectDetection> detections = {detectionOf(boxAt(x, 0.0F, 0.2F, 0.4F))};
  tracker->update(detections, kFrame);
  return tracker;
}

float leftOf(const ObjectTracker& tracker) { return tracker.getTracks().at(0).box.left; }

std::string* calls = nullptr;
void callA(MotionTrackerServer*, void* userData) { *calls += std::string("a") + static_cast<const char*>(userData); }
void callB(MotionTrackerServer*, void* userData) { *calls += std::string("b") + static_cast<const char*>(userData); }
char one[] = "1";
char two[] = "2";

TEST(MotionTrackerServer, CallsEachCallbackOnceInOrderOfSubscription) {
  std::string log;
  calls = &log;
  MotionTrackerServer server;
  server.updateClients();
  EXPECT_TRUE(server.subscribeToCameraMotion(callB, one));
  EXPECT_TRUE(server.subscribeToCameraMotion(nullptr, one));
  EXPECT_TRUE(server.subscribeToCameraMotion(callA, one));
  EXPECT_FALSE(server.subscribeToCameraMotion(callB, two));
  server.updateClients();
  EXPECT_EQ(log, "b1a1");

  server.unsubscribeFromCameraMotion(callB, two);  // no such pair
  server.updateClients();
  EXPECT_EQ(log, "b1a1b1a1");

  server.unsubscribeFromCameraMotion(callB, one);
  EXPECT_TRUE(server.subscribeToCameraMotion(callB, two));
  server.updateClients();
  EXPECT_EQ(log, "b1a1b1a1a1b2");
}

TEST(MotionTrackerServer, AsksThePositionFunctionOfTheHost) {
  MotionTrackerServer server;
  Point point{0.5F, -0.5F};
  EXPECT_FALSE(server.recalculatePosition(point));
  Pan pan;
  server.setCameraMotionTracker(nullptr, 3, Pan::position);
  EXPECT_FALSE(server.recalculatePosition(point));
  server.setCameraMotionTracker(&pan, 3, Pan::position);
  EXPECT_TRUE(server.recalculatePosition(point));
  EXPECT_EQ(point.x, 0.75F);
  EXPECT_EQ(point.y, -0.5F);
  EXPECT_EQ(pan.channel, 3);
}

TEST(MotionTrackerServer, IsProcessWideUntilAnyServerIsDestroyed) {
  auto first = std::make_unique<MotionTrackerServer>();
  EXPECT_EQ(MotionTrackerServer::getMotionTrackerServer(), first.get());
  auto second = std::make_unique<MotionTrackerServer>();
  EXPECT_EQ(MotionTrackerServer::getMotionTrackerServer(), second.get());
  first.reset();
  EXPECT_EQ(MotionTrackerServer::getMotionTrackerServer(), nullptr);
}

TEST(CameraMotion, MovesTheClampedBoxAndKeepsItsVelocity) {
  MotionTrackerServer server;
  Pan pan;
  server.setCameraMotionTracker(&pan, 0, Pan::position);
  const auto tracker = trackerWithOneTrack(-1.0F);  // half of it lies beyond the left border
  std::vector<ObjectDetection> next = {detectionOf(boxAt(-0.98F, 0.0F, 0.2F, 0.4F))};
  tracker->update(next, 2 * kFrame);
  const TrackedObjectDetection before = tracker->getTracks().at(0);
  server.updateClients();
  const TrackedObjectDetection after = tracker->getTracks().at(0);
  EXPECT_FLOAT_EQ(before.box.left, -1.0F);
  EXPECT_FLOAT_EQ(after.box.left, -0.75F);
  EXPECT_FLOAT_EQ(after.box.right, before.box.right + 0.25F);
  EXPECT_FLOAT_EQ(after.box.top, before.box.top);
  EXPECT_EQ(after.velocityX, before.velocityX);
  EXPECT_GT(after.velocityX, 0.0F);

  pan.answers = false;
  server.updateClients();
  EXPECT_EQ(leftOf(*tracker), after.box.left);
  vanilla::VanillaTracker::cameraMovedCallback(nullptr, tracker.get());
  vanilla::VanillaTracker::cameraMovedCallback(&server, nullptr);
}

TEST(CameraMotion, ReachesOneTrackerOfAKindUntilItIsGone) {
  MotionTrackerServer server;
  Pan pan;
  server.setCameraMotionTracker(&pan, 0, Pan::position);
  auto subscribed = trackerWithOneTrack();
  auto refused = trackerWithOneTrack();
  server.updateClients();
  EXPECT_FLOAT_EQ(leftOf(*subscribed), 0.15F);
  EXPECT_FLOAT_EQ(leftOf(*refused), -0.1F);

  refused.reset();  // must not end the subscription of the other
  server.updateClients();
  EXPECT_FLOAT_EQ(leftOf(*subscribed), 0.4F);

  subscribed.reset();
  const int callsBefore = pan.calls;
  server.updateClients();
  EXPECT_EQ(pan.calls, callsBefore);

  const auto next = trackerWithOneTrack();
  server.updateClients();
  EXPECT_FLOAT_EQ(leftOf(*next), 0.15F);
}

TEST(CameraMotion, TiesATrackerToTheServerThatItSubscribedTo) {
  Pan pan;
  auto first = std::make_unique<MotionTrackerServer>();
  first->setCameraMotionTracker(&pan, 0, Pan::position);
  auto ofFirst = trackerWithOneTrack();
  MotionTrackerServer second;
  second.setCameraMotionTracker(&pan, 0, Pan::position);
  const auto ofSecond = trackerWithOneTrack();

  first->updateClients();
  EXPECT_FLOAT_EQ(leftOf(*ofFirst), 0.15F);
  EXPECT_FLOAT_EQ(leftOf(*ofSecond), -0.1F);
  first.reset();
  ofFirst.reset();
  second.updateClients();
  EXPECT_FLOAT_EQ(leftOf(*ofSecond), 0.15F);
}

std::unique_ptr<ObjectTracker> victim;
MotionTrackerServer* busyServer = nullptr;

TEST(CameraMotion, SurvivesTrackersDestroyedWhileItIsTold) {
  for (const bool nested : {false, true}) {
    SCOPED_TRACE(nested);
    MotionTrackerServer server;
    busyServer = &server;
    std::string log;
    calls = &log;
    Pan pan;
    server.setCameraMotionTracker(&pan, 0, Pan::position);
    ASSERT_TRUE(server.subscribeToCameraMotion(callA, one));
    const auto destroyVictim = [](MotionTrackerServer*, void*) { victim.reset(); };
    const auto notifyAgain = [](MotionTrackerServer* notifying, void* again) {
      if (std::exchange(*static_cast<bool*>(again), false)) notifying->updateClients();
    };
    bool again = nested;
    ASSERT_TRUE(server.subscribeToCameraMotion(notifyAgain, &again));
    ASSERT_TRUE(server.subscribeToCameraMotion(destroyVictim, nullptr));
    victim = trackerWithOneTrack();  // called after the subscriber that destroys it
    ASSERT_TRUE(server.subscribeToCameraMotion(callB, two));
    server.updateClients();
    EXPECT_EQ(pan.calls, 0);
    EXPECT_EQ(log, nested ? "a1a1b2b2" : "a1b2");
  }
}

TEST(CameraMotion, SurvivesATrackerDestroyedByThePositionFunction) {
  std::string log;
  calls = &log;
  MotionTrackerServer server;
  Pan pan;
  pan.onPosition = [] { victim.reset(); };
  server.setCameraMotionTracker(&pan, 0, Pan::position);
  victim = makeTracker(0, {}, test::kHumansAndCars, 1.0F);
  std::vector<ObjectDetection> crowd(3, detectionOf(boxAt(0.0F, 0.0F, 0.2F, 0.4F)));
  victim->update(crowd, kFrame);
  ASSERT_TRUE(server.subscribeToCameraMotion(callA, one));
  server.updateClients();
  EXPECT_EQ(pan.calls, 1);
  EXPECT_EQ(log, "a1");
}

}  // namespace
}  // namespace nivra
