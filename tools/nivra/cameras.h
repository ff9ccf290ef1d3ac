#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "format.h"
#include "trackerRecipe.h"

namespace nivra::tool {

/// A record that a camera does not take, and the field that is at fault.
struct Refusal {
  std::string field;
  std::string message;
};

/// What has to be known of a camera's earlier frames.
class FrameHistory {
 public:
  /// Why a frame can't follow them; nothing if it can.
  std::optional<Refusal> refusalOf(const Frame& frame) const;

  /// @param frame One that is not refused, and has its time.
  void add(const Frame& frame);

  std::optional<std::uint64_t> lastTimestamp() const { return newest; }

 private:
  std::optional<std::uint64_t> newest;
  std::optional<std::size_t> featureLength;
};

/// A tracker, the source of its camera's movements, and the history of its frames.
class Camera {
 public:
  Camera(const TrackerRecipe& recipe, const LabelAssociations& labelAssociations, float aspectRatio);
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  const FrameHistory& history() const { return frames; }

  /// @param frame One that `history` does not refuse; gets its time if it has none.
  /// @param result Takes what came of it.
  void update(Frame& frame, std::uint64_t frameDuration, FrameTracks& result);

  void move(const CameraMotion& motion);

  /// The identities of the tracks that there are.
  std::set<int> identities() const;

 private:
  /// Takes out the detections whose labels no association covers, which would start a new track each time.
  void removeUnassociated(Frame& frame, std::vector<std::string>& newLabels);

  const LabelAssociations& associations;
  MotionTrackerServer motionServer;  // before the tracker, which subscribes to it
  std::unique_ptr<ObjectTracker> tracker;
  FrameHistory frames;
  std::set<std::string, std::less<>> namedLabels;
};

/// The cameras of an input, each from its first record to its end.
class Cameras {
 public:
  using Clock = std::chrono::steady_clock;

  /// @param mostIdle How long a camera stays without a record; nothing for ever.
  Cameras(const TrackerRecipe& recipe, LabelAssociations labelAssociations, std::optional<Clock::duration> mostIdle);

  /// The camera of that name; a new one if there is none.
  Camera& at(const std::string& name, const std::optional<PictureSize>& picture, Clock::time_point now);

  /// Why a frame can't follow those of its camera; asked before `at`, so that what is refused changes no camera and
  /// begins none.
  std::optional<Refusal> refusalOf(const Frame& frame) const;

  /// Lets a camera go.
  /// @return The identities that ended with it.
  std::set<int> end(const std::string& name);

  /// Lets go of those which have been idle for too long.
  /// @return Their names, the longest idle one first.
  std::vector<std::string> dropIdle(Clock::time_point now);

 private:
  struct Entry {
    Entry(const std::string& cameraName, const TrackerRecipe& recipe, const LabelAssociations& associations,
          float aspectRatio)
        : name(cameraName), camera(recipe, associations, aspectRatio) {}

    std::string name;
    Camera camera;
    Clock::time_point lastUse;
  };

  void giveMemoryBack();

  const TrackerRecipe& trackerRecipe;
  LabelAssociations associations;
  std::optional<Clock::duration> longestIdle;
  std::list<Entry> entries;  // the longest idle one first
  std::size_t most = 0;      // cameras at once, since memory was given back
  std::unordered_map<std::string, std::list<Entry>::iterator> entryOf;
};

}  // namespace nivra::tool
