#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "hostkit/formats/format.h"
#include "nivra/nivra.h"

namespace nivra::hostkit {

enum class ReportedTracks {
  all,        // from their first detection on
  confident,  // from their confirmation on
  settled,    // those that are confirmed at some time, from their first detection on
};

/// What a track takes as its box in a frame in which it took a detection.
enum class ReportedBoxes { smoothed, detected };

/// Which of a tracker's reports are told, and how.
struct ReportPolicy {
  static constexpr std::uint64_t kAlways = std::numeric_limits<std::uint64_t>::max();

  ReportedTracks tracks = ReportedTracks::all;
  std::uint64_t hold = kAlways;  // ns, how long after its last detection a track is told
  std::uint64_t fill = 0;        // ns, how long gaps between detections may be that are told as straight ways
  ReportedBoxes boxes = ReportedBoxes::smoothed;

  /// Whether what is told of a frame depends on later ones.
  bool looksAhead() const { return tracks == ReportedTracks::settled || fill > 0; }

  /// Whether nothing is left out or added.
  bool tellsAll() const { return tracks == ReportedTracks::all && hold == kAlways && fill == 0; }
};

/// What is told of inputs that are known to their end, unless somebody wants something else.
inline constexpr ReportPolicy kReportsOfFiles = {ReportedTracks::settled, 100'000'000, 0, ReportedBoxes::detected};
/// And of those that have to be answered at once: whatever the tracker says.
inline constexpr ReportPolicy kReportsOfStreams = {};

/// What the caller says of it; what is not given is as usual for files or streams, whichever it is.
struct ReportOptions {
  std::optional<ReportedTracks> tracks;
  std::optional<std::uint64_t> hold;
  std::optional<std::uint64_t> fill;
  std::optional<ReportedBoxes> boxes;
  std::optional<std::uint64_t> delay;  // ns, by which settled tracks are told late instead of looking ahead to the end
};

/// @param option Its name in complaints.
/// @throws UsageError unless the text names one.
ReportedTracks parseReportedTracks(const std::string& option, const std::string& text);
ReportedBoxes parseReportedBoxes(const std::string& option, const std::string& text);

/// @param isFile Whether the input is known to its end.
/// @throws UsageError when such an input can't be told so.
ReportPolicy policyOf(const ReportOptions& options, bool isFile);

/// Makes the reports of one camera's tracker into those that are told.
///
/// Each frame is handed to `chooseBoxes` and to `learn` as soon as the tracker has reported it, and to `apply` when it
/// is to be told: at once, some frames later or, for a policy that looks ahead to the end, when all frames have been
/// learned. Both see the frames in their order. What is kept is a few numbers for each identity that `apply` has not
/// yet seen end, and for each gap that is to be filled.
///
/// Identities that re-identification merges are one when settled tracks are told: reports that are applied after the
/// merge was learned have the identity that lives on, and of two such in one frame the one with a detection stays.
/// The other policies tell what the tracker said, and leave it to `TrackUpdateResult::mergedIds` to tell the merge.
class ReportStep {
 public:
  explicit ReportStep(const ReportPolicy& reportPolicy) : policy(reportPolicy) {}

  /// @param detections Those of the frame, for boxes as they were detected.
  void chooseBoxes(const std::vector<ObjectDetection>& detections, FrameTracks& frame);

  /// @param timestamp Of the frame in ns, newer than that of the frame before.
  void learn(std::uint64_t timestamp, const FrameTracks& frame);

  /// @param frame As it was learned; gets the reports that are told. The order of others than the tracker's own is by
  ///   the time when they were last seen.
  void apply(std::uint64_t timestamp, FrameTracks& frame);

  /// When tracks took their last detections, of those that are told at once: all that later frames depend on then.
  std::map<int, std::uint64_t> lastDetections() const;
  /// Goes on from there.
  void restore(const std::map<int, std::uint64_t>& lastDetections);

 private:
  struct Sighting {
    std::uint64_t timestamp;
    Box box;
  };
  struct Fate {
    bool isConfirmed = false;
    std::optional<int> goesOnAs;
    std::optional<Sighting> first;
    std::optional<Sighting> last;
    std::uint64_t lastApplied = 0;  // time of the last detection that was applied
  };
  struct Gap {
    int identity;
    Sighting from;
    Sighting to;
    TrackReport report = {};  // the one before the gap, once it is applied
  };

  void see(int identity, Fate& fate, const Sighting& sighting);
  void noteGap(int identity, const Sighting& from, const Sighting& to);
  void merge(int absorbed, int older);
  int finalIdentity(int identity) const;
  void joinIdentities(std::vector<TrackReport>& reports);
  bool isTold(std::uint64_t timestamp, const TrackReport& report);
  void fillGaps(std::uint64_t timestamp, std::vector<TrackReport>& reports);

  ReportPolicy policy;
  std::map<int, Fate> fates;
  std::uint64_t lastLearned = 0;
  std::multimap<std::uint64_t, Gap> gapsAhead;  // by their beginning
  std::vector<Gap> openGaps;
  std::vector<const ObjectDetection*> detectionOf;  // by its id; kept for its memory alone
};

}  // namespace nivra::hostkit
