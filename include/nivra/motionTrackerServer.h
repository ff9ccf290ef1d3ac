#pragma once

/// @file
/// Brings the movements of a pan/tilt camera to the trackers.

#include <memory>

#include "nivra/export.h"
#include "nivra/geometry.h"

namespace nivra {

/// Connects the host's source of camera motion with the trackers.
///
/// 1. The host constructs a server for each camera and hands it to that camera's tracker (`makeTracker`
///    and the trackers' constructors take it). A tracker that is handed none subscribes to the process-wide
///    server of that moment. Either way it stays tied to that server.
/// 2. It registers a position function, which maps a point of the old picture to its place in the new one.
/// 3. After each camera movement it calls `updateClients`, and every subscribed tracker moves its tracks.
///
/// All calls run on the caller's thread. Cameras may be on different threads, if every tracker is handed its
/// server: a server and the trackers tied to it, from their construction to their destruction, belong to one
/// thread at a time. So `updateClients` never overlaps a frame call on one of the subscribed trackers. A tracker
/// that takes the process-wide server instead may get the one of another thread's camera. Trackers and server may
/// be destroyed in any order, trackers even from within a callback or the position function; the server must
/// outlive a running `updateClients`.
class NIVRA_EXPORT MotionTrackerServer {
 public:
  /// Called at each movement, with what was handed over at the subscription.
  using Callback = void (*)(MotionTrackerServer* server, void* userData);
  /// Replaces `point` (normalised picture coordinates) by its new place and returns true, or returns
  /// false when it cannot.
  using PositionFunction = bool (*)(void* cameraMotionTracker, int channel, Point& point);

  /// Makes this server the process-wide one.
  MotionTrackerServer();
  /// Leaves the process without a process-wide server, whichever server is destroyed.
  ~MotionTrackerServer();
  MotionTrackerServer(const MotionTrackerServer&) = delete;
  MotionTrackerServer& operator=(const MotionTrackerServer&) = delete;

  /// The process-wide server: the one constructed last, or null. Any thread may ask, but nothing keeps the server
  /// alive for it.
  static MotionTrackerServer* getMotionTrackerServer();

  /// Sets the source of camera motion; a later call replaces it.
  ///
  /// @param newCameraMotionTracker The host's own object, handed back to `newPositionFunction`.
  /// @param newChannel A number handed back to `newPositionFunction`.
  void setCameraMotionTracker(void* newCameraMotionTracker, int newChannel, PositionFunction newPositionFunction);

  /// Adds a subscriber, unless `callback` is subscribed already (whatever its user data).
  /// @return True if the subscriber was added.
  bool subscribeToCameraMotion(Callback callback, void* userData);

  /// Removes the subscriber with exactly this callback and user data; does nothing if there is none.
  void unsubscribeFromCameraMotion(Callback callback, void* userData);

  /// Tells every subscriber, in the order of subscription, that the camera has moved.
  void updateClients();

  /// Asks the position function for the new place of `point`.
  /// @return False, with `point` as the position function left it, when there is no source of camera
  ///   motion or it gives no position.
  bool recalculatePosition(Point& point);

  /// For the trackers alone: expires together with this server, and keeps nothing alive.
  NIVRA_HIDDEN std::weak_ptr<const void> watch() const;

 private:
  struct Body;
  std::shared_ptr<Body> body;  // the only owner
};

}  // namespace nivra
