#include "core/cameraMotionSubscription.h"

namespace nivra {

CameraMotionSubscription::CameraMotionSubscription(MotionTrackerServer::Callback subscribedCallback,
                                                   void* subscribedUserData, MotionTrackerServer* motionServer)
    : callback(subscribedCallback), userData(subscribedUserData), lifetime(std::make_shared<char>()) {
  if (motionServer == nullptr || !motionServer->subscribeToCameraMotion(callback, userData)) return;
  server = motionServer;
  serverLifetime = motionServer->watch();
}

CameraMotionSubscription::~CameraMotionSubscription() {
  if (!serverLifetime.expired()) server->unsubscribeFromCameraMotion(callback, userData);
}

}  // namespace nivra
