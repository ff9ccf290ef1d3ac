#pragma once

#include <memory>

#include "nivra/motionTrackerServer.h"

namespace nivra {

/// Keeps a tracker subscribed to camera motion for as long as the tracker lives.
///
/// Stays tied to the server that it is handed. A subscription that the server refused withdraws nothing when it ends.
class CameraMotionSubscription {
 public:
  /// @param motionServer Null for none.
  CameraMotionSubscription(MotionTrackerServer::Callback subscribedCallback, void* subscribedUserData,
                           MotionTrackerServer* motionServer);
  ~CameraMotionSubscription();
  CameraMotionSubscription(const CameraMotionSubscription&) = delete;
  CameraMotionSubscription& operator=(const CameraMotionSubscription&) = delete;

  /// Expires together with this subscription, and so with the tracker that holds it: a running notification can see
  /// that the host destroyed the tracker from within the position function.
  std::weak_ptr<const void> watch() const { return lifetime; }

 private:
  MotionTrackerServer::Callback callback;
  void* userData;
  MotionTrackerServer* server = nullptr;  // the one subscribed to, while it lives
  std::weak_ptr<const void> serverLifetime;
  std::shared_ptr<const void> lifetime;
};

}  // namespace nivra
