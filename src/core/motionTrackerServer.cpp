#include "nivra/motionTrackerServer.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <utility>
#include <vector>

namespace nivra {

namespace {

// Cameras on different threads construct and destroy their servers at the same time.
std::atomic<MotionTrackerServer*> processWideServer{nullptr};

/// How far a running `updateClients` has come; unsubscribing moves both positions.
struct Notification {
  std::size_t next;
  std::size_t end;
};

struct CameraMotionSource {
  void* cameraMotionTracker = nullptr;
  int channel = -1;
  MotionTrackerServer::PositionFunction positionFunction = nullptr;
};

}  // namespace

struct NIVRA_HIDDEN MotionTrackerServer::Body {
  std::vector<std::pair<Callback, void*>> subscribers;
  std::vector<Notification> notifications;  // the running ones, each called by a subscriber of the one before
  CameraMotionSource source;
};

MotionTrackerServer::MotionTrackerServer() : body(std::make_shared<Body>()) { processWideServer = this; }

MotionTrackerServer::~MotionTrackerServer() { processWideServer = nullptr; }

MotionTrackerServer* MotionTrackerServer::getMotionTrackerServer() { return processWideServer; }

void MotionTrackerServer::setCameraMotionTracker(void* newCameraMotionTracker, int newChannel,
                                                 PositionFunction newPositionFunction) {
  body->source = {newCameraMotionTracker, newChannel, newPositionFunction};
}

bool MotionTrackerServer::subscribeToCameraMotion(Callback callback, void* userData) {
  auto& subscribers = body->subscribers;
  const bool subscribed = std::any_of(subscribers.begin(), subscribers.end(),
                                      [&](const auto& subscriber) { return subscriber.first == callback; });
  if (subscribed) return false;
  subscribers.emplace_back(callback, userData);
  return true;
}

void MotionTrackerServer::unsubscribeFromCameraMotion(Callback callback, void* userData) {
  auto& subscribers = body->subscribers;
  const auto found = std::find(subscribers.begin(), subscribers.end(), std::pair(callback, userData));
  if (found == subscribers.end()) return;

  const auto position = static_cast<std::size_t>(found - subscribers.begin());
  subscribers.erase(found);
  for (Notification& running : body->notifications) {
    if (position < running.next) --running.next;
    if (position < running.end) --running.end;
  }
}

void MotionTrackerServer::updateClients() {
  // A subscriber may destroy trackers, which unsubscribe, and may call this function again.
  auto& subscribers = body->subscribers;
  auto& notifications = body->notifications;
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
  const auto& [tracker, channel, positionOf] = body->source;
  return tracker != nullptr && positionOf != nullptr && positionOf(tracker, channel, point);
}

std::weak_ptr<const void> MotionTrackerServer::watch() const { return body; }

}  // namespace nivra
