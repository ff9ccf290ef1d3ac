#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/counting/eventLines.h"
#include "hostkit/formats/format.h"
#include "hostkit/tracking/cameras.h"
#include "hostkit/tracking/reporting.h"

namespace nivra::hostkit {

/// What decides the answers to a stream, wherever it comes from and goes.
struct AnswerOptions {
  ReadSettings read;
  std::vector<std::string> labels;  // each associated with itself
  LabelAssociations associations;
  std::optional<Cameras::Clock::duration> mostIdle;
  std::size_t mostDetections = 10'000;  // of a frame
  bool stabilise = true;                // estimate the movements of cameras that don't tell them
  ReportOptions report;
  std::optional<EventOptions> events;  // are told instead of tracks
  bool debug = false;
  bool explain = false;  // ask trackers why they do what they do
};

/// What cameras are made with.
/// @param isFile Whether all records are known before any is answered.
CameraSettings cameraSettingsOf(const AnswerOptions& options, LabelAssociations associations, bool isFile);

/// What the caller says; labels that it mentions associate at least with themselves, and so do those that an input is
/// known to have unless the caller lists them.
/// @param known Nothing if nobody knows them; then the label of detections without one stands for them, if there are no
/// associations at all.
LabelAssociations associationsOf(const AnswerOptions& options, const std::optional<std::set<std::string>>& known);

/// What puts answers into words: events if they are asked for, and else tracks in the format.
/// @param options Outlive the writer.
std::unique_ptr<TrackWriter> writerFor(const AnswerOptions& options, const Format& format);

/// Answers the records of a stream, each by what its camera's tracker makes of it.
class Answers {
 public:
  /// What there is to tell beside the answer.
  struct Notice {
    const Frame* tracked = nullptr;          // the record, if it was a frame and is answered by tracks
    Cameras::Clock::duration updateTime{0};  // that its tracker took
    std::optional<BadLine> fault;            // which the record was, or turned out to be
    bool hasPlace = true;                    // false for a fault in a format that has no place for it
  };

  /// @param options Outlives this object, as does the recipe.
  /// @param writer Takes what comes of the records.
  /// @param isFile Whether all records are known before any is answered.
  /// @throws UsageError when such a stream can't be answered as the options want it.
  Answers(const AnswerOptions& options, const TrackerRecipe& recipe, LabelAssociations associations,
          std::unique_ptr<TrackWriter> writer, bool isFile);

  /// Likewise in a format.
  Answers(const AnswerOptions& options, const TrackerRecipe& recipe, LabelAssociations associations,
          const Format& format, bool isFile = false);

  /// Whether all records are to be foreseen before any is taken.
  bool looksAhead() const { return policy.looksAhead() && !options.report.delay; }

  /// Tracks a record without a word, since the answers depend on those behind them. What the trackers report comes
  /// about again in the same way, so that none of it has to be kept.
  void foresee(Record& record);

  /// @param line Of the record, from 1; 0 if it isn't one.
  /// @return What is to be told; valid until the next call.
  const Notice& take(Record& record, std::uint64_t line);

  /// Writes everything that later answers depend on, between records, for `restoreState`.
  /// @param bytes Are overwritten, their memory used again.
  /// @throws UsageError when answers wait for later records or need what was told before, neither of which is stored.
  void saveState(std::string& bytes) const;

  /// Goes on from there, before the first record. What is told beside the answers may be told again.
  /// @throws StateError when the bytes are no such state, damaged, cut, of a later release, or of other options.
  void restoreState(std::string_view bytes);

  /// Told when no more records come.
  void finish();

  /// The answer to the last record, and to those before it that were told late; or what was left to answer at the end.
  std::string_view text() const { return words.view(); }
  /// What came of the last record, if it is answered by tracks.
  const FrameTracks& tracks() const { return result; }
  /// How many tracks were told.
  std::uint64_t tracksTold() const { return reporting.tracksTold(); }
  /// How many tracks the format had no place for.
  std::uint64_t leftOut() const { return writer->leftOut(); }

 private:
  void takeEach(Frame& frame);
  void takeEach(const CameraMotion& motion);
  void takeEach(const CameraEnd& end);
  void takeEach(const BadLine& fault);
  void refuse(const std::string& field, const std::string& what);
  void requireStorable() const;
  std::uint64_t optionsDigest() const;

  const AnswerOptions& options;
  const TrackerRecipe& recipe;
  const ReportPolicy policy;
  const CameraSettings settings;
  std::optional<Cameras> camerasAhead;  // while records are foreseen
  Cameras cameras;
  const std::unique_ptr<TrackWriter> writer;
  Reporting reporting;
  Cameras::Clock::time_point now;
  std::uint64_t currentLine = 0;
  FrameTracks result;
  TextBuffer words;
  Notice notice;
};

}  // namespace nivra::hostkit
