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
#include <utility>
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

/// What all later answers about a camera depend on.
struct CameraState {
  std::string name;
  float aspectRatio = 0.0F;                    // that its tracker was made for
  std::string tracker;                         // as `ObjectTracker::saveState` has it
  std::optional<std::string> motionEstimator;  // likewise, if its movements are estimated
  std::optional<std::uint64_t> lastTimestamp;
  std::optional<std::uint64_t> featureLength;
  std::set<std::string, std::less<>> namedLabels;
};

template <class Archive>
void fields(Archive& archive, CameraState& state) {
  archive(state.name, state.aspectRatio, state.tracker, state.motionEstimator, state.lastTimestamp, state.featureLength,
          state.namedLabels);
}

/// A tracker, the source of its camera's movements, and what has to be known of earlier frames.
class Camera {
 public:
  /// @param stabilise Whether the camera's movements are estimated until it tells the first one itself.
  Camera(const TrackerRecipe& recipe, const LabelAssociations& labelAssociations, float aspectRatio, bool stabilise);
  /// Goes on from the state of a camera that was made alike.
  /// @throws StateError when it is none of such a camera.
  Camera(const TrackerRecipe& recipe, const LabelAssociations& labelAssociations, const CameraState& state);

  /// All but its name, which a camera doesn't know.
  CameraState state() const;

  /// @param frame Gets its time if it has none.
  /// @param debug Whether the inner state is asked for.
  /// @param result Takes what came of it.
  /// @throws std::bad_alloc when memory runs out; the frame is lost then, but the tracks go on.
  /// @return Why the frame can't follow those before it, which leaves all as it was; nothing if it can.
  std::optional<Refusal> update(Frame& frame, std::uint64_t frameDuration, bool debug, FrameTracks& result);

  /// Why the frame can't follow those before it, as `update` has it; changes nothing.
  std::optional<Refusal> refusalOf(const Frame& frame) const;

  /// Has the reasons of later frames told, too.
  void explain();

  void move(const CameraMotion& motion);

  /// The identities of the tracks that there are.
  std::set<int> identities() const;

 private:
  /// Takes out the detections whose labels no association covers, which would start a new track each time.
  void removeUnassociated(Frame& frame, std::vector<std::string>& newLabels);
  void moveAsEstimated(const Frame& frame);

  const LabelAssociations& associations;
  float ratio;
  MotionTrackerServer motionServer;  // before the tracker, which subscribes to it
  ReasonKeeper reasonKeeper;         // likewise: tells it
  bool explains = false;
  std::unique_ptr<ObjectTracker> tracker;
  std::optional<CameraMotionEstimator> motionEstimator;
  std::optional<std::uint64_t> lastTimestamp;
  std::optional<std::uint64_t> featureLength;
  std::set<std::string, std::less<>> namedLabels;
  SuppressionWatch suppression;
};

struct CameraSettings {
  LabelAssociations associations;
  std::optional<std::chrono::steady_clock::duration> mostIdle;  // without a record; nothing for ever
  std::uint64_t frameDuration = 0;                              // ns, for frames that come without a time
  std::size_t mostDetections = 0;                               // of a frame
  bool debug = false;                                           // the tracks' inner state is asked for
  bool stabilise = true;                                        // as `Camera` has it
  bool explain = false;                                         // the tracks' reasons are asked for
};

/// The cameras of an input, each from its first record to its end.
class Cameras {
 public:
  using Clock = std::chrono::steady_clock;

  Cameras(const TrackerRecipe& recipe, CameraSettings cameraSettings)
      : trackerRecipe(recipe), settings(std::move(cameraSettings)) {}

  /// Hands a frame to its camera, as `Camera::update` has it; what is refused begins no camera, nor does a frame that
  /// memory doesn't suffice for.
  std::optional<Refusal> take(Frame& frame, Clock::time_point now, FrameTracks& result);
  void take(const CameraMotion& motion, Clock::time_point now);
  /// Lets a camera go.
  /// @return The identities that ended with it.
  std::set<int> take(const CameraEnd& end);

  /// Lets go of those which have been idle for too long.
  /// @return Their names, the longest idle one first.
  std::vector<std::string> dropIdle(Clock::time_point now);

  /// What they have become, in an order that `restore` keeps.
  std::vector<CameraState> states() const;
  /// Goes on from there, instead of what there is.
  /// @throws StateError when these are no states of such cameras.
  void restore(const std::vector<CameraState>& states, Clock::time_point now);

 private:
  struct Entry {
    template <class... Arguments>
    explicit Entry(const std::string& cameraName, const Arguments&... arguments)
        : name(cameraName), camera(arguments...) {}

    std::string name;
    Camera camera;
    Clock::time_point lastUse;
  };

  /// @param arguments Of `Camera`.
  template <class... Arguments>
  void begin(const std::string& name, const Arguments&... arguments);
  /// The camera of that name; a new one if there is none.
  Camera& at(const std::string& name, const std::optional<PictureSize>& picture, Clock::time_point now);
  void forget(const std::string& name);
  void giveMemoryBack();

  const TrackerRecipe& trackerRecipe;
  CameraSettings settings;
  std::list<Entry> entries;  // the longest idle one first
  std::size_t most = 0;      // cameras at once, since memory was given back
  std::unordered_map<std::string, std::list<Entry>::iterator> entryOf;
};

}  // namespace nivra::hostkit
