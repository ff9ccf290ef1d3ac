#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "hostkit/explaining/chronicle.h"
#include "hostkit/formats/format.h"
#include "hostkit/formats/frameTimes.h"
#include "hostkit/replaying/recording.h"

namespace nivra::hostkit {

/// The cameras of a recording while it is made.
class CameraDrafts {
 public:
  struct Draft {
    RecordedCamera camera;
    std::map<int, std::uint64_t> timestamps;      // ns, of the frames whose time is known
    std::map<std::string, int> labels;            // their places
    std::map<std::size_t, Chronicle> chronicles;  // of runs by their places, if reasons are asked for
  };

  /// The camera of that name; a new one if there is none.
  Draft& at(const std::string& name);

  /// The camera that a sequence belongs to: that of its name; or the only one there is if the sequence is an only one,
  /// too; or else a new one.
  Draft& forSequence(const std::string& name, bool isOnly);

  /// Null if there is none for it.
  Draft* find(const std::string& name, bool isOnly);

  static int placeOf(Draft& draft, const std::string& label);

  /// Takes the picture from a camera's first frame.
  static void outline(Draft& draft, const Frame& frame);

  /// Adds a frame's detections and its time.
  /// @param number Of the frame, from 1.
  static void addDetections(Draft& draft, const Frame& frame, int number);

  std::vector<Draft>& all() { return drafts; }

 private:
  std::vector<Draft> drafts;  // as they come
  std::map<std::string, std::size_t> places;
};

/// What is kept of frames beside what a tracker makes of them.
struct Recorded {
  bool detections = false;
  bool reasons = false;
};

/// Keeps what a tracker makes of each frame.
class Recorder final : public TrackWriter {
 public:
  /// @param runName That of the tracker.
  /// @param watched Outlives this object.
  Recorder(CameraDrafts& cameraDrafts, std::string runName, std::optional<double> knownFrameRate, Recorded recorded,
           const Zones& watched)
      : drafts(cameraDrafts), name(std::move(runName)), frameRate(knownFrameRate), keeps(recorded), zones(watched) {}

  void tracked(const Frame& frame, const FrameTracks& result) override;
  void frame(const Frame& frame, const FrameTracks& result, TextBuffer& text) override;
  void motion(const CameraMotion&, TextBuffer&) override {}
  void end(const CameraEnd& end, const std::set<int>& removedIds, TextBuffer& text) override;
  bool fault(const BadLine&, TextBuffer&) override { return true; }  // told in the end

 private:
  struct Camera {
    FrameNumbering numbering;        // of frames that are tracked
    FrameNumbering numberingOfTold;  // likewise told, which may be later
    CameraEvents events;
    std::size_t run = 0;       // in `RecordedCamera::runs`
    std::int64_t firstId = 0;  // of its present tracker
    std::int64_t nextId = 0;
  };

  Camera& cameraOf(const Frame& frame, CameraDrafts::Draft& draft);
  void count(const Frame& frame, const FrameTracks& result, int number, Camera& camera, RecordedTracks& run) const;
  IdentifiedRow rowOf(const TrackedObjectDetection& track, int number, Camera& camera, CameraDrafts::Draft& draft);

  CameraDrafts& drafts;
  std::string name;
  std::optional<double> frameRate;
  Recorded keeps;
  const Zones& zones;
  std::map<std::string, Camera> cameras;
};

}  // namespace nivra::hostkit
