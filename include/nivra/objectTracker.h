#pragma once

/// @file
/// The interface behind which all trackers stand.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "nivra/export.h"
#include "nivra/objectDetection.h"
#include "nivra/trackedObjectDetection.h"

namespace nivra {

class Explainer;

/// For each track label, the detection labels that a track of that label may take.
///
/// `{{"car", {"car", "truck"}}}` lets car tracks take car and truck detections. A label without an entry matches
/// nothing, not even itself: each of its detections that no other track takes starts a new track in every frame,
/// and the low-frame-rate tracker reports faults about those tracks, one for every pair. Give a label that is to be
/// tracked an entry with itself, and keep detections of other labels from the tracker.
using LabelAssociations = std::map<std::string, std::set<std::string>>;

/// What one `ObjectTracker::update` changed in the set of identities.
struct TrackUpdateResult {
  std::set<int> removedIds;  ///< Identities that ended with this update.
  /// (identity of an absorbed track, identity of the older track that took its place). Only
  /// re-identification fills it.
  std::set<std::pair<int, int>> mergedIds;
};

/// A multi-object tracker: detections of one camera in, tracks with stable identities out.
///
/// Per frame the host calls `update` and then `getTracks` or `getDebugTracks` as often as it likes. One
/// tracker is driven by one thread at a time; different trackers may run on different threads, each with the camera
/// motion server that it is tied to (see `MotionTrackerServer`).
class NIVRA_EXPORT ObjectTracker {
 public:
  virtual ~ObjectTracker();
  ObjectTracker(const ObjectTracker&) = delete;
  ObjectTracker& operator=(const ObjectTracker&) = delete;

  /// Takes in one frame.
  ///
  /// @param detections All detections of the frame; may be empty. A tracker may mark or reorder them,
  ///   but never adds or removes any.
  /// @param timestamp Time of the frame in nanoseconds, newer than that of the frame before.
  /// @return The identities that this frame ended or merged.
  ///
  /// Bad boxes and bad times are never thrown. A timestamp that is not newer is reported as a fault (see
  /// `setFaultHandler`), and no track moves to it; an older one takes no track's detection in either. Tracks without a
  /// detection still age, and detections left over still start tracks.
  ///
  /// @throws std::bad_alloc when memory runs out. The tracker stays usable and `getTracks` tells what lives on; which
  ///   identities such a frame ended or merged is not told again.
  virtual TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) = 0;

  /// The current tracks, oldest first.
  virtual std::vector<TrackedObjectDetection> getTracks() const = 0;

  /// The current tracks with inner state, oldest first.
  virtual std::vector<internal::DebugTrack> getDebugTracks() const = 0;

  /// The same as `getTracks`, with the detection that each track took, into a vector of the caller. What it holds is
  /// overwritten and its memory used again, so that a frame with no more tracks than before allocates nothing.
  virtual void getTracks(std::vector<TrackReport>& reports) const;

  /// The same as `getDebugTracks` into a vector of the caller, likewise.
  virtual void getDebugTracks(std::vector<internal::DebugTrack>& reports) const;

  /// Has every later frame explained, at the cost of trying each track with each detection; what the tracker does stays
  /// the same. A tracker that can't explain itself does nothing here.
  /// @param explainer Must outlive the frames that it is told of; null to end it.
  virtual void explainTo(Explainer* explainer);

  /// Writes everything that later frames depend on, for `restoreTracker`: a tracker made of it answers them as this one
  /// would, to the last bit, on any machine. Between frames; changes nothing.
  ///
  /// The bytes hold parameters, label associations and tracks, have a version and a checksum, and can be read by every
  /// later release. How the camera tells its movements is not among them.
  ///
  /// @param bytes What it holds is overwritten and its memory used again.
  /// @throws std::bad_alloc when memory runs out, std::length_error for a text or a list of 2^32 elements,
  ///   std::logic_error if a host's own tracker has no state to store.
  virtual void saveState(std::string& bytes) const;

  /// A number that differs, but for a chance of 2^-64, between trackers of different kinds, parameters or label
  /// associations: the states of one fit the other only where it is the same.
  ///
  /// @throws std::logic_error if a host's own tracker has no state to store.
  virtual std::uint64_t configurationDigest() const;

 protected:
  ObjectTracker() = default;
};

}  // namespace nivra
