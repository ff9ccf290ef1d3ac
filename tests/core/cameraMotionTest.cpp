#include <gtest/gtest.h>

#include <memory>

#include "support/detections.h"

namespace nivra::test {

/// A server with a source of motion that pans to the right.
struct Pan {
  static bool position(void* self, int channel, Point& point) {
    auto& pan = *static_cast<Pan*>(self);
    pan.asked.push_back(channel);
    pan.onAsked();
    point.x += 0.25F;
    return pan.answers;
  }

  Pan() { server->setCameraMotionTracker(this, 3, position); }

  std::unique_ptr<MotionTrackerServer> server = std::make_unique<MotionTrackerServer>();
  std::vector<int> asked;  // the channels
  bool answers = true;
  void (*onAsked)() = [] {};
};

static std::unique_ptr<ObjectTracker> trackerAt(float x = 0, int selector = 0) {
  auto tracker = makeTracker(selector, {}, kHumansAndCars, 1.0F);
  feed(*tracker, kFrame, {detectionOf(boxAt(x, 0))});
  return tracker;
}

static float leftOf(const std::unique_ptr<ObjectTracker>& tracker) { return tracker->getTracks().at(0).box.left; }

static std::string calls;
template <char name>
static void call(MotionTrackerServer*, void* userData) {
  calls += name + std::string(static_cast<const char*>(userData));
}
static char one[] = "1", two[] = "2";

TEST(MotionTrackerServer, CallsEachCallbackOnceInOrderOfSubscription) {
  calls.clear();
  MotionTrackerServer server;
  server.updateClients();
  EXPECT_TRUE(server.subscribeToCameraMotion(call<'b'>, one));
  EXPECT_TRUE(server.subscribeToCameraMotion(nullptr, one));
  EXPECT_TRUE(server.subscribeToCameraMotion(call<'a'>, one));
  EXPECT_FALSE(server.subscribeToCameraMotion(call<'b'>, two));
  server.unsubscribeFromCameraMotion(call<'b'>, two);  // no such pair
  server.updateClients();
  EXPECT_EQ(calls, "b1a1");
  server.unsubscribeFromCameraMotion(call<'b'>, one);
  EXPECT_TRUE(server.subscribeToCameraMotion(call<'b'>, two));
  server.updateClients();
  EXPECT_EQ(calls, "b1a1a1b2");
}

TEST(MotionTrackerServer, LeavesThoseWhoSubscribeMeanwhileForTheNextTime) {
  calls.clear();
  MotionTrackerServer server;
  const auto bringOthers = [](MotionTrackerServer* running, void*) {
    running->subscribeToCameraMotion(call<'b'>, one);
    running->subscribeToCameraMotion(call<'c'>, one);
    running->unsubscribeFromCameraMotion(call<'c'>, one);  // must not cost the last one its turn
  };
  server.subscribeToCameraMotion(bringOthers, nullptr);
  server.subscribeToCameraMotion(call<'a'>, one);
  server.updateClients();
  EXPECT_EQ(calls, "a1");
  server.updateClients();
  EXPECT_EQ(calls, "a1a1b1");
}

TEST(MotionTrackerServer, AsksThePositionFunctionOfTheHost) {
  MotionTrackerServer silent;
  Point point{0.5F, -0.5F};
  EXPECT_FALSE(silent.recalculatePosition(point));
  silent.setCameraMotionTracker(nullptr, 3, Pan::position);
  EXPECT_FALSE(silent.recalculatePosition(point));
  silent.setCameraMotionTracker(&silent, 3, nullptr);
  EXPECT_FALSE(silent.recalculatePosition(point));
  Pan pan;
  EXPECT_TRUE(pan.server->recalculatePosition(point) && point.x == 0.75F && point.y == -0.5F);
  EXPECT_EQ(pan.asked, std::vector<int>{3});

  const MotionTrackerServer newest;
  EXPECT_EQ(MotionTrackerServer::getMotionTrackerServer(), &newest);
  pan.server.reset();
  EXPECT_EQ(MotionTrackerServer::getMotionTrackerServer(), nullptr);
}

TEST(CameraMotion, MovesTheClampedBoxAndKeepsItsVelocity) {
  Pan pan;
  const auto tracker = trackerAt(-1);  // half of it lies beyond the left border
  feed(*tracker, 2 * kFrame, {detectionOf(boxAt(-0.98F, 0))});
  const TrackedObjectDetection before = tracker->getTracks().at(0);
  pan.server->updateClients();
  const TrackedObjectDetection after = tracker->getTracks().at(0);
  EXPECT_FLOAT_EQ(after.box.left, -0.75F);
  EXPECT_FLOAT_EQ(after.box.right, before.box.right + 0.25F);
  EXPECT_TRUE(after.velocityX == before.velocityX && after.velocityX > 0);

  pan.answers = false;
  pan.server->updateClients();
  EXPECT_EQ(leftOf(tracker), after.box.left);
  for (const auto& [selector, callback] : {std::pair(0, &vanilla::VanillaTracker::cameraMovedCallback),
                                           std::pair(1, &reid::ReidTracker::cameraMovedCallback),
                                           std::pair(3, &vanillaLowFps::VanillaLowFpsTracker::cameraMovedCallback)}) {
    const auto still = trackerAt(0, selector);
    callback(nullptr, still.get());
    callback(pan.server.get(), nullptr);
    EXPECT_FLOAT_EQ(leftOf(still), -0.1F);
  }
}

TEST(CameraMotion, ReachesOneTrackerOfAKindUntilItIsGone) {
  Pan pan;
  auto subscribed = trackerAt();
  auto refused = trackerAt();
  pan.server->updateClients();
  EXPECT_FLOAT_EQ(leftOf(refused), -0.1F);
  refused.reset();  // must not end the subscription of the other
  pan.server->updateClients();
  EXPECT_FLOAT_EQ(leftOf(subscribed), 0.4F);
  subscribed.reset();
  pan.server->updateClients();
  EXPECT_EQ(pan.asked.size(), 2U);
  const auto next = trackerAt();
  pan.server->updateClients();
  EXPECT_FLOAT_EQ(leftOf(next), 0.15F);
}

TEST(CameraMotion, TiesATrackerToTheServerThatItSubscribedTo) {
  Pan first;
  auto ofFirst = trackerAt();
  Pan second;
  auto ofSecond = trackerAt();
  first.server->updateClients();
  EXPECT_FLOAT_EQ(leftOf(ofFirst), 0.15F);
  EXPECT_FLOAT_EQ(leftOf(ofSecond), -0.1F);
  ofFirst.reset();
  first.server->updateClients();
  EXPECT_EQ(first.asked.size(), 1U);
  second.server.reset();
  ofSecond.reset();  // must not touch the server that is gone
}

static std::unique_ptr<ObjectTracker> victim;

TEST(CameraMotion, SurvivesTrackersDestroyedWhileItIsTold) {
  for (bool nested : {false, true}) {
    calls.clear();
    Pan pan;
    const auto destroyVictim = [](MotionTrackerServer*, void*) {
      calls += 'd';  // just once each time, though the next one in line goes
      victim.reset();
    };
    const auto notifyAgain = [](MotionTrackerServer* server, void* again) {
      if (std::exchange(*static_cast<bool*>(again), false)) server->updateClients();
    };
    const std::string expected = nested ? "a1a1db2db2" : "a1db2";
    pan.server->subscribeToCameraMotion(call<'a'>, one);
    pan.server->subscribeToCameraMotion(notifyAgain, &nested);
    pan.server->subscribeToCameraMotion(destroyVictim, nullptr);
    victim = trackerAt();  // called after the subscriber that destroys it
    pan.server->subscribeToCameraMotion(call<'b'>, two);
    pan.server->updateClients();
    EXPECT_TRUE(pan.asked.empty());
    EXPECT_EQ(calls, expected);
  }
}

TEST(CameraMotion, SurvivesATrackerDestroyedByThePositionFunction) {
  calls.clear();
  Pan pan;
  pan.onAsked = [] { victim.reset(); };
  victim = trackerAt();
  feed(*victim, 2 * kFrame, std::vector<ObjectDetection>(3, detectionOf(boxAt(0, 0))));
  pan.server->subscribeToCameraMotion(call<'a'>, one);
  pan.server->updateClients();
  EXPECT_EQ(pan.asked.size(), 1U);
  EXPECT_EQ(calls, "a1");
}

}  // namespace nivra::test
