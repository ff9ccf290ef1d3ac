#pragma once

/// @file
/// The camera's movement, told from the detections alone.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nivra/export.h"
#include "nivra/geometry.h"
#include "nivra/motionTrackerServer.h"
#include "nivra/objectDetection.h"
#include "nivra/stateArchive.h"
#include "nivra/trackedObjectDetection.h"

namespace nivra {

/// A map of the normalised picture: what was at (x, y) is now at (ax + by + c, dx + ey + f).
struct PictureMap {
  float a = 1.0F;  ///< What x counts for in x.
  float b = 0.0F;  ///< What y counts for in x.
  float c = 0.0F;  ///< Picture units; 2 is the width of the picture.
  float d = 0.0F;  ///< What x counts for in y.
  float e = 1.0F;  ///< What y counts for in y.
  float f = 0.0F;  ///< Picture units, upward; 2 is the height of the picture.

  /// The new place of a point.
  Point operator()(const Point& point) const { return {a * point.x + b * point.y + c, d * point.x + e * point.y + f}; }
};

/// Moves the tracks of all trackers that are tied to `server`. Its source of camera motion is none afterwards.
/// @param map The new place of a point of the picture: a `PictureMap`, or any other.
NIVRA_EXPORT void moveTracks(MotionTrackerServer& server, const std::function<Point(const Point&)>& map);

/// What the detections of a frame tell about the camera.
struct CameraMotionEstimate {
  /// What can be told of a frame.
  enum class Verdict : std::int32_t {
    unknown,  ///< Too few objects in both frames, or too little agreement between them.
    still,    ///< This camera is at rest, as far as can be told; a shift that is seen is that of the objects.
    moving,   ///< `map` is the movement since the frame before.
    cut,      ///< Hardly any track is where any movement of the camera could have put it.
  };

  /// What could be told of this one.
  Verdict verdict = Verdict::unknown;
  PictureMap map;  ///< A shift and a zoom if the verdict is `moving`, else the identity.
  /// Standard errors of the shift in the middle of the picture, picture units; 0 unless the verdict is `moving`.
  Point standardError;
  /// How probable it is that this camera moves these days, 0 to 1, by this frame and those before it.
  float movingProbability = 0.0F;
  std::int32_t voters = 0;      ///< Tracks that were asked, 20 at most.
  std::int32_t supporters = 0;  ///< Those of them that agree on one movement.
};

/// Estimates how the picture moved between two frames, for cameras that have neither images to compare nor a motor
/// that reports. One estimator belongs to one camera and is driven by one thread at a time.
///
/// ```
/// const CameraMotionEstimate motion = estimator.estimate(detections, timestamp);
/// if (motion.verdict == CameraMotionEstimate::Verdict::moving) moveTracks(server, motion.map);
/// tracker->update(detections, timestamp);
/// tracker->getTracks(reports);
/// estimator.follow(reports);
/// ```
///
/// Tracks that took a detection in the frame before are moved on by their velocities. What is left between them and
/// the new detections is wherever the camera's movement is the same for all of them, and else each object's own. The
/// movement that most of them share, as a shift and a zoom, is measured against how much detections of this camera
/// usually scatter; from these measurements a running judgement arises whether this camera moves at all. As long as
/// it seems to be at rest, nothing is to be moved: what few people do alike looks like a movement now and then.
///
/// A movement common to all objects that lasted from their first detections on can't be told from their own. It needs
/// three objects in both frames, and for the judgement four that have been followed for about a third of a second.
class NIVRA_EXPORT CameraMotionEstimator {
 public:
  CameraMotionEstimator();
  /// Goes on from what `saveState` wrote.
  /// @throws StateError when the bytes are no state of an estimator, damaged, cut or of a later release.
  explicit CameraMotionEstimator(std::string_view state);
  ~CameraMotionEstimator();
  /// What is moved from may be assigned to or destroyed only.
  CameraMotionEstimator(CameraMotionEstimator&& other) noexcept;
  /// Likewise.
  CameraMotionEstimator& operator=(CameraMotionEstimator&& other) noexcept;

  /// Takes in one frame, before the tracker does.
  ///
  /// @param detections The frame's detections. Their `id`s tell them apart: it is by `TrackReport::detectionId` that a
  /// track's
  ///   detection of the frame before is found. Tracks whose detection is not found don't count, nor do boxes that are
  ///   not numbers or hardly have a size.
  /// @param timestamp Time of the frame in nanoseconds. If it is not newer than the last one, or newer by more than a
  ///   second, the verdict is `unknown`.
  /// @throws std::bad_alloc when memory runs out; the next frame's verdict is then `unknown`. Memory is allocated only
  ///   while the largest number of detections grows.
  CameraMotionEstimate estimate(const std::vector<ObjectDetection>& detections, unsigned long long timestamp);

  /// Takes in the tracker's reports after the same frame, which the next frame is compared with. Without them, the
  /// verdict on that one is `unknown`.
  void follow(const std::vector<TrackReport>& tracks);

  /// Writes everything that later estimates depend on, as `ObjectTracker::saveState` does, after `follow`.
  /// @param bytes What it holds is overwritten and its memory used again.
  void saveState(std::string& bytes) const;

 private:
  class Body;
  std::unique_ptr<Body> body;
};

}  // namespace nivra
