#include "nivra/motionTrackerServer.h"

#include <algorithm>
#include <atomic>

namespace nivra {

namespace {

// Cameras on different threads construct and destroy their servers at the same time.
std::atomic<MotionTrackerServer*> processWideServer{nullptr};

}  // namespace

MotionTrackerServer::MotionTrackerServer() : self(this, [](MotionTrackerServer*) {}) { processWideServer = this; }

MotionTrackerServer::~MotionTrackerServer() { processWideServer = nullptr; }

MotionTrackerServer* MotionTrackerServer::getMotionTrackerServer() { return processWideServer; }

void MotionTrackerServer::setCameraMotionTracker(void* newCameraMotionTracker, int newChannel,
                                                 PositionFunction newPositionFunction) {
  cameraMotionTracker = newCameraMotionTracker;
  channel = newChannel;
  positionFunction = newPositionFunction;
}

bool MotionTrackerServer::subscribeToCameraMotion(Callback callback, void* userData) {
  const bool subscribed = std::any_of(subscribers.begin(), subscribers.end(),
                                      [&](const auto& subscriber) { return subscriber.first == callback; });
  if (subscribed) return false;
  subscribers.emplace_back(callback, userData);
  return true;
}

void MotionTrackerServer::unsubscribeFromCameraMotion(Callback callback, void* userData) {
  const auto found = std::find(subscribers.begin(), subscribers.end(), std::pair(callback, userData));
  if (found == subscribers.end()) return;

  const auto position = static_cast<std::size_t>(found - subscribers.begin());
  subscribers.erase(found);
  for (Notification& running : notifications) {
    if (position < running.next) --running.next;
    if (position < running.end) --running.end;
  }
}

void MotionTrackerServer::updateClients() {
  // A subscriber may destroy trackers, which unsubscribe, and may call this function again.
  const std::size_t level = notifications.size();
  notifications.push_back({0, subscribers.size()});
  const auto popLevel = [](std::vector<Notification>* running) { running->pop_back(); };
  const std::unique_ptr<std::vector<Notification>, decltype(popLevel)> ending(&notifications, popLevel);

  while (notifications[level].next < notifications[level].end) {
    const auto [callback, userData] = subscribers[notifications[level].next++];
    if (callback != nullptr) callback(this, userData);
  }
}

bool MotionTrackerServer::recalculatePosition(Point& point) {
  if (cameraMotionTracker == nullptr || positionFunction == nullptr) return false;
  return positionFunction(cameraMotionTracker, channel, point);
}

CameraMotionSubscription::CameraMotionSubscription(MotionTrackerServer::Callback subscribedCallback,
                                                   void* subscribedUserData)
    : CameraMotionSubscription(subscribedCallback, subscribedUserData, MotionTrackerServer::getMotionTrackerServer()) {}

CameraMotionSubscription::CameraMotionSubscription(MotionTrackerServer::Callback subscribedCallback,
                                                   void* subscribedUserData, MotionTrackerServer* motionServer)
    : callback(subscribedCallback), userData(subscribedUserData), lifetime(std::make_shared<char>()) {
  if (motionServer != nullptr && motionServer->subscribeToCameraMotion(callback, userData)) server = motionServer->self;
}

CameraMotionSubscription::~CameraMotionSubscription() {
  if (const auto live = server.lock()) live->unsubscribeFromCameraMotion(callback, userData);
}

}  // namespace nivra
