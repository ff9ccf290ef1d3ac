#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/boxGeometry.h"
#include "nivra/attributeFilter.h"
#include "nivra/trackedObjectDetection.h"

namespace nivra {

/// Fills the part of a report that all kinds of tracks fill alike: all but class hypotheses and confidence.
template <class BoxFilter>
void beginReport(TrackedObjectDetection& report, int id, const BoxFilter& boxFilter, float score,
                 const std::string& label, const AttributeFilter& attributeFilter) {
  const Point velocity = boxFilter.getVelocity();
  report.id = id;
  report.box = clampedToPicture(boxFilter.getBox());
  report.velocityX = velocity.x;
  report.velocityY = velocity.y;
  report.score = score;
  report.label = label;
  report.attributes = attributeFilter.getAttributes();
}

/// Writes reports over those that a vector holds, whose memory they use again.
template <class Report>
class ReportWriter {
 public:
  explicit ReportWriter(std::vector<Report>& filledReports) : reports(filledReports) {}
  ReportWriter(const ReportWriter&) = delete;
  ReportWriter& operator=(const ReportWriter&) = delete;

  template <class Track>
  Report& write(const Track& track) {
    if (written == reports.size()) reports.emplace_back();
    track.report(reports[written]);
    return reports[written++];
  }

  /// Drops the reports that were not written over.
  void finish() { reports.resize(written); }

 private:
  std::vector<Report>& reports;
  std::size_t written = 0;
};

/// Reports the tracks with isReported(track), in their order.
template <class Track, class Report, class IsReported>
void reportTracks(const std::vector<Track>& tracks, std::vector<Report>& reports, IsReported isReported) {
  reports.reserve(tracks.size());
  ReportWriter writer(reports);
  for (const Track& track : tracks) {
    if (isReported(track)) writer.write(track);
  }
  writer.finish();
}

template <class Track, class Report>
void reportTracks(const std::vector<Track>& tracks, std::vector<Report>& reports) {
  reportTracks(tracks, reports, [](const Track&) { return true; });
}

/// The reports of all tracks, or of those with isReported(track).
template <class Report, class Track, class... IsReported>
std::vector<Report> reportsOf(const std::vector<Track>& tracks, IsReported... isReported) {
  std::vector<Report> reports;
  reportTracks(tracks, reports, isReported...);
  return reports;
}

}  // namespace nivra
