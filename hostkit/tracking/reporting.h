#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "hostkit/formats/format.h"
#include "hostkit/tracking/reportPolicy.h"

namespace nivra::hostkit {

/// Stands between the trackers of an input and the writer of their reports, and hands on what is to be told.
///
/// A policy that looks ahead needs to have seen all of the input before, by `foresee` and `foreseeEnd`; or it is told
/// with a delay, by what is known then. With a delay the answers of a camera stay in their order, while those of other
/// cameras may overtake them; what is kept are the frames of that time, and those of cameras that fall silent.
class Reporting {
 public:
  /// @param nanosecondsLate By how much a camera's newest frame has to be newer than one that is told.
  /// @param trackWriter Outlives this object.
  Reporting(const ReportPolicy& reportPolicy, std::optional<std::uint64_t> nanosecondsLate, TrackWriter& trackWriter)
      : policy(reportPolicy), delay(nanosecondsLate), writer(trackWriter) {}

  /// What the trackers are going to say, in the order in which they will.
  void foresee(const Frame& frame, FrameTracks& tracks);
  void foreseeEnd(const CameraEnd& end);

  /// What the trackers say; these append to `text`. Tracks that are told at once become what is told of them.
  void frame(Frame& frame, FrameTracks& tracks, TextBuffer& text);
  void motion(const CameraMotion& motion, TextBuffer& text);
  void end(const CameraEnd& end, const std::set<int>& removedIds, TextBuffer& text);
  /// These cameras were let go.
  void dropped(const std::vector<std::string>& cameraNames, TextBuffer& text);
  /// Nothing more is to come.
  void finish(TextBuffer& text);

  /// Of each camera, what `ReportStep` tells.
  using State = std::map<std::string, std::map<int, std::uint64_t>>;

  /// All that later reports depend on, where all is told at once.
  State state() const;
  /// Goes on from there, instead of what there is.
  void restore(const State& state);

  /// The reports that were told.
  std::uint64_t tracksTold() const { return toldCount; }

 private:
  struct TrackedFrame {
    Frame frame;
    FrameTracks tracks;
  };
  struct Camera {
    std::deque<ReportStep> steps;  // of its present tracker, and of those that are foreseen
    bool isForeseen = false;       // the last one of these trackers, as far as it goes
    bool isTold = false;           // the present one
    std::deque<std::variant<TrackedFrame, CameraMotion>> late;
  };

  static TrackedFrame kept(Frame& frame, const FrameTracks& tracks);
  void tell(Camera& camera, const Frame& frame, FrameTracks& tracks, TextBuffer& text);
  void tellLate(Camera& camera, std::uint64_t until, TextBuffer& text);
  void finish(const std::string& name, TextBuffer& text);

  ReportPolicy policy;
  std::optional<std::uint64_t> delay;
  TrackWriter& writer;
  std::map<std::string, Camera> cameras;
  std::uint64_t toldCount = 0;
};

}  // namespace nivra::hostkit
