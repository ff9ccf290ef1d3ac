#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "hostkit/formats/format.h"
#include "hostkit/tracking/suppression.h"
#include "hostkit/tracking/trackerRecipe.h"

namespace nivra::hostkit {

/// So many labels without associations are named and remembered, of a camera and of a run, whatever a detector makes
/// up.
inline constexpr std::size_t kMostNamedLabels = 1000;

/// A record that a camera does not take, and the field that is at fault.
struct Refusal {
  std::string field;
  std::string message;
};

/// A tracker, the source of its camera's movements, and what has to be known of earlier frames.
class Camera {
 public:
  /// @param stabilise Whether the camera's movements are estimated until it tells the first one itself.
  Camera(const TrackerRecipe& recipe, const LabelAssociations& labelAssociations, float aspectRatio, bool stabilise);

  /// @param frame Gets its time if it has none.
  /// @param debug Whether the inner state is asked for.
  /// @param result Takes what came of it.
  /// @throws std::bad_alloc when memory runs out; the frame is lost then, but the tracks go on.
  /// @return Why the frame can't follow those before it, which leaves all as it was; nothing if it can.
  std::optional<Refusal> update(Frame& frame, std::uint64_t frameDuration, bool debug, FrameTracks& result);

  void move(const CameraMotion& motion);

  /// The identities of the tracks that there are.
  std::set<int> identities() const;

 private:
  /// Takes out the detections whose labels no association covers, which would start a new track each time.
  void removeUnassociated(Frame& frame, std::vector<std::string>& newLabels);
  void moveAsEstimated(const Frame& frame);

  const LabelAssociations& associations;
  MotionTrackerServer motionServer;  // before the tracker, which subscribes to it
  std::unique_ptr<ObjectTracker> tracker;
  std::optional<CameraMotionEstimator> motionEstimator;
  std::optional<std::uint64_t> lastTimestamp;
  std::optional<std::size_t> featureLength;
  std::set<std::string, std::less<>> namedLabels;
  SuppressionWatch suppression;
};

/// The cameras of an input, each from its first record to its end.
class Cameras {
 public:
  using Clock = std::chrono::steady_clock;

  /// @param mostIdle How long a camera stays without a record; nothing for ever.
  /// @param withDebug Whether the tracks' inner state is asked for.
  /// @param stabilise As `Camera` has it.
  Cameras(const TrackerRecipe& recipe, LabelAssociations labelAssociations, std::optional<Clock::duration> mostIdle,
          bool withDebug, bool stabilise);

  /// The camera of that name; a new one if there is none.
  Camera& at(const std::string& name, const std::optional<PictureSize>& picture, Clock::time_point now);

  /// Hands a frame to its camera, as `Camera::update` has it; what is refused begins no camera, nor does a frame that
  /// memory doesn't suffice for.
  std::optional<Refusal> update(Frame& frame, std::uint64_t frameDuration, Clock::time_point now, FrameTracks& result);

  /// Lets a camera go.
  /// @return The identities that ended with it.
  std::set<int> end(const std::string& name);

  /// Lets go of those which have been idle for too long.
  /// @return Their names, the longest idle one first.
  std::vector<std::string> dropIdle(Clock::time_point now);

 private:
  struct Entry {
    Entry(const std::string& cameraName, const TrackerRecipe& recipe, const LabelAssociations& associations,
          float aspectRatio, bool stabilise)
        : name(cameraName), camera(recipe, associations, aspectRatio, stabilise) {}

    std::string name;
    Camera camera;
    Clock::time_point lastUse;
  };

  void forget(const std::string& name);
  void giveMemoryBack();

  const TrackerRecipe& trackerRecipe;
  LabelAssociations associations;
  std::optional<Clock::duration> longestIdle;
  bool debug;
  bool stabilises;
  std::list<Entry> entries;  // the longest idle one first
  std::size_t most = 0;      // cameras at once, since memory was given back
  std::unordered_map<std::string, std::list<Entry>::iterator> entryOf;
};

}  // namespace nivra::hostkit
