#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/files/byteSource.h"
#include "hostkit/files/output.h"
#include "hostkit/formats/frame.h"
#include "hostkit/formats/frameReasons.h"
#include "hostkit/text/textBuffer.h"

namespace nivra::hostkit {

/// What a score of a whole counts.
enum class ScoreUnit { fraction, percent };

/// What the caller says about an input; it takes precedence over what the input says of itself.
struct ReadSettings {
  std::optional<PictureSize> picture;
  std::optional<double> frameRate;
  std::string label = "human";                     // of detections that come without
  std::map<std::int64_t, std::string> categories;  // the labels of numbered categories
  std::optional<ScoreUnit> scores;                 // what formats usually have or scores look like, if not given
  /// Takes sentences about what an input leaves in doubt, each without a line break.
  std::function<void(const std::string& warning)> warn = [](const std::string&) {};
  /// Asked before more is read of an input that is read as it comes.
  WaitForInput wait;
};

/// Hands out an input record by record.
class Reader {
 public:
  virtual ~Reader() = default;

  /// @param record Takes the next one; what it holds may be reused.
  /// @return False at the end of the input.
  /// @throws FileError when the input cannot be read on.
  virtual bool read(Record& record) = 0;

  /// The line that the last record was, from 1; 0 where records are no lines.
  virtual std::uint64_t line() const { return 0; }

  /// How much of the input has been read, from 0 to 1; nothing when nobody knows how long it is.
  virtual std::optional<double> progress() const { return std::nullopt; }
};

/// What a tracker made of a frame.
struct FrameTracks {
  std::vector<TrackReport> tracks;
  std::vector<internal::DebugTrack> debugTracks;  // if asked for; those that are not reported as well
  TrackUpdateResult changes;
  FrameReasons reasons;                   // if asked for
  std::vector<std::string> unassociated;  // untracked labels that the camera shows for the first time
  std::size_t duplicates = 0;             // boxes on others, when the camera shows too many for the first time
};

struct WriteSettings {
  std::optional<double> frameRate;     // to number frames by their times; they are counted without it
  std::optional<std::uint64_t> start;  // when the first frame would be, if not when it is
  bool debug = false;                  // the trackers' inner state too
};

/// Says what came of the records of an input, in the order of the records. All functions append to `text`.
class TrackWriter {
 public:
  virtual ~TrackWriter() = default;

  /// Told as soon as a frame is tracked, before any choice of what is told of it.
  virtual void tracked(const Frame&, const FrameTracks&) {}
  virtual void frame(const Frame& frame, const FrameTracks& result, TextBuffer& text) = 0;
  virtual void motion(const CameraMotion& motion, TextBuffer& text) = 0;
  virtual void end(const CameraEnd& end, const std::set<int>& removedIds, TextBuffer& text) = 0;
  /// @return False if the format has no place for faults.
  virtual bool fault(const BadLine& fault, TextBuffer& text) = 0;
  /// Told when no more records come.
  virtual void finish(TextBuffer&) {}
  /// Told before the next record: these cameras were let go, since nothing had come of them for long.
  virtual void dropped(const std::vector<std::string>&) {}
  /// Whether what it says of a record depends on those before it, as numbers of frames do.
  virtual bool remembers() const { return true; }
  /// How many tracks the format had no place for.
  virtual std::uint64_t leftOut() const { return 0; }
};

/// Writes what a reader handed out, in the same format or another one.
class DetectionWriter {
 public:
  virtual ~DetectionWriter() = default;

  /// @throws FileError when the format cannot hold the record.
  virtual void write(const Record& record) = 0;
  virtual void finish() = 0;
};

struct IdentifiedSequence;

/// A file format; each lives in a file of its own, and formats.cpp lists them.
struct Format {
  const char* name;   // as --from and --to take it
  const char* title;  // as sentences call it
  bool (*recognises)(std::string_view beginning);
  std::unique_ptr<Reader> (*read)(const std::string& path, const ReadSettings& settings);
  std::unique_ptr<TrackWriter> (*writeTracks)(const WriteSettings& settings) = nullptr;  // null if it holds no tracks
  std::unique_ptr<DetectionWriter> (*writeDetections)(const Target& target, const WriteSettings& settings) = nullptr;

  // Files.
  std::vector<std::string_view> extensions = {};  // of those that are of this format if nothing else tells
  std::string_view outputExtension = {};          // of those that it writes
  std::string_view frameExtension = {};  // of those in a folder that has one for each frame; empty if there are none
  std::string_view trackHeader = {};     // what each file of tracks begins with
  bool readsAsItComes = false;           // line by line, so that it is what pipes hold
  bool writesFolders = false;            // detections, instead of a file
  bool answersInKind = false;            // tracks of what it holds are written in it too, if the caller doesn't mind

  // What there is a place for in what it writes.
  bool holdsOneCamera = false;  // in a file of tracks, and no other
  bool holdsNotices = false;    // beside the tracks, such as labels that are not tracked
  bool holdsLabels = false;     // of detections
  bool holdsMotion = false;     // of the camera, among detections

  /// Whether boxes have identities in a text of which this is the beginning. Null if they never have.
  bool (*holdsIdentities)(std::string_view beginning) = nullptr;

  /// The sequences of an input whose boxes have identities: tracks or truth. Null if it isn't read so.
  std::vector<IdentifiedSequence> (*readIdentities)(const std::string& path, const ReadSettings& settings) = nullptr;
};

}  // namespace nivra::hostkit
