#include "hostkit/tracking/reportPolicy.h"

#include <algorithm>
#include <utility>

#include "hostkit/errors.h"

namespace nivra::hostkit {

namespace {

bool hasDetection(const TrackReport& report) { return report.detectionId >= 0; }

/// As a tracker reports its boxes.
Box clamped(const Box& box) {
  const auto inPicture = [](float coordinate) { return std::clamp(coordinate, -1.0F, 1.0F); };
  return {inPicture(box.left), inPicture(box.top), inPicture(box.right), inPicture(box.bottom)};
}

float between(float from, float to, double share) {
  return static_cast<float>(static_cast<double>(from) + share * (static_cast<double>(to) - static_cast<double>(from)));
}

double secondsBetween(std::uint64_t from, std::uint64_t to) { return static_cast<double>(to - from) / 1e9; }

std::vector<TrackReport>::iterator reportOf(int identity, std::vector<TrackReport>& reports) {
  return std::find_if(reports.begin(), reports.end(), [&](const auto& each) { return each.track.id == identity; });
}

}  // namespace

ReportedTracks parseReportedTracks(const std::string& option, const std::string& text) {
  if (text == "all") return ReportedTracks::all;
  if (text == "confident") return ReportedTracks::confident;
  if (text == "settled") return ReportedTracks::settled;
  throw UsageError(option + " " + text + ": expected all, confident or settled");
}

ReportedBoxes parseReportedBoxes(const std::string& option, const std::string& text) {
  if (text == "smoothed") return ReportedBoxes::smoothed;
  if (text == "detected") return ReportedBoxes::detected;
  throw UsageError(option + " " + text + ": expected smoothed or detected");
}

ReportPolicy policyOf(const ReportOptions& options, bool isFile) {
  ReportPolicy policy = isFile ? kReportsOfFiles : kReportsOfStreams;
  policy.tracks = options.tracks.value_or(policy.tracks);
  policy.hold = options.hold.value_or(policy.hold);
  policy.fill = options.fill.value_or(policy.fill);
  policy.boxes = options.boxes.value_or(policy.boxes);
  if (options.delay && policy.tracks != ReportedTracks::settled) {
    throw UsageError("--delay is for --report settled, which looks ahead");
  }
  if (policy.fill > 0 && (!isFile || options.delay)) {
    throw UsageError("--fill needs a file, which is read to its end first, and no --delay");
  }
  if (policy.looksAhead() && !isFile && !options.delay) {
    throw UsageError("--report settled needs --delay TIME in a stream, whose end is not known");
  }
  return policy;
}

void ReportStep::chooseBoxes(const std::vector<ObjectDetection>& detections, FrameTracks& frame) {
  if (policy.boxes == ReportedBoxes::smoothed) return;
  detectionOf.clear();
  for (const ObjectDetection& each : detections) {
    const auto id = static_cast<std::size_t>(each.id);
    if (id >= detectionOf.size()) detectionOf.resize(id + 1);
    detectionOf[id] = &each;
  }
  for (TrackReport& report : frame.tracks) {
    if (hasDetection(report))
      report.track.box = clamped(detectionOf[static_cast<std::size_t>(report.detectionId)]->box);
  }
}

void ReportStep::learn(std::uint64_t timestamp, const FrameTracks& frame) {
  for (const auto& [absorbed, older] : frame.changes.mergedIds) merge(absorbed, older);
  for (const TrackReport& report : frame.tracks) {
    Fate& fate = fates[report.track.id];
    fate.isConfirmed |= report.track.confident;
    const bool mayBeTold = report.track.confident || policy.tracks != ReportedTracks::confident;
    if (mayBeTold && hasDetection(report)) see(report.track.id, fate, {timestamp, report.track.box});
  }
  lastLearned = timestamp;
}

void ReportStep::see(int identity, Fate& fate, const Sighting& sighting) {
  if (!fate.first) fate.first = sighting;
  if (fate.last) noteGap(identity, *fate.last, sighting);
  fate.last = sighting;
}

void ReportStep::noteGap(int identity, const Sighting& from, const Sighting& to) {
  const bool isGap = from.timestamp < lastLearned && from.timestamp < to.timestamp;
  if (isGap && to.timestamp - from.timestamp <= policy.fill) {
    gapsAhead.emplace(from.timestamp, Gap{identity, from, to});
  }
}

/// What there is of both goes on as the older one. Its absence ends where the other begins, or else, where both keep
/// their identities, is covered by the other.
void ReportStep::merge(int absorbed, int older) {
  Fate& gone = fates[absorbed];
  Fate& staying = fates[older];
  staying.isConfirmed |= gone.isConfirmed;
  gone.goesOnAs = older;
  if (!gone.last) return;
  if (policy.tracks == ReportedTracks::settled && staying.last) noteGap(older, *staying.last, *gone.first);
  if (!staying.first) staying.first = gone.first;
  if (!staying.last || staying.last->timestamp < gone.last->timestamp) staying.last = gone.last;
}

void ReportStep::apply(std::uint64_t timestamp, FrameTracks& frame) {
  if (policy.tellsAll()) return;
  std::vector<TrackReport>& reports = frame.tracks;
  if (policy.tracks == ReportedTracks::settled) joinIdentities(reports);
  reports.erase(std::remove_if(reports.begin(), reports.end(),
                               [&](const TrackReport& report) { return !isTold(timestamp, report); }),
                reports.end());
  if (policy.fill > 0) fillGaps(timestamp, reports);
  for (const int identity : frame.changes.removedIds) fates.erase(identity);
}

std::map<int, std::uint64_t> ReportStep::lastDetections() const {
  std::map<int, std::uint64_t> times;
  for (const auto& [identity, fate] : fates) times.emplace(identity, fate.lastApplied);
  return times;
}

void ReportStep::restore(const std::map<int, std::uint64_t>& lastDetections) {
  for (const auto& [identity, time] : lastDetections) fates[identity].lastApplied = time;
}

int ReportStep::finalIdentity(int identity) const {
  for (auto found = fates.find(identity); found != fates.end() && found->second.goesOnAs;
       found = fates.find(identity)) {
    identity = *found->second.goesOnAs;
  }
  return identity;
}

/// Gives merged identities' reports to the one that lives on; where it has one already, that with a detection stays, or
/// else its own.
void ReportStep::joinIdentities(std::vector<TrackReport>& reports) {
  std::size_t kept = 0;
  for (TrackReport& report : reports) {
    const int own = report.track.id;
    report.track.id = finalIdentity(own);
    const auto end = reports.begin() + static_cast<std::ptrdiff_t>(kept);
    const auto other = own == report.track.id ? end : std::find_if(reports.begin(), end, [&](const TrackReport& each) {
      return each.track.id == report.track.id;
    });
    if (other == end) {
      if (&reports[kept] != &report) reports[kept] = std::move(report);
      ++kept;
    } else if (hasDetection(report) && !hasDetection(*other)) {
      *other = std::move(report);
    }
  }
  reports.resize(kept);
}

bool ReportStep::isTold(std::uint64_t timestamp, const TrackReport& report) {
  Fate& fate = fates[report.track.id];
  if (hasDetection(report)) fate.lastApplied = timestamp;
  if (policy.tracks == ReportedTracks::confident && !report.track.confident) return false;
  if (policy.tracks == ReportedTracks::settled && !fate.isConfirmed) return false;
  return timestamp - fate.lastApplied <= policy.hold;
}

void ReportStep::fillGaps(std::uint64_t timestamp, std::vector<TrackReport>& reports) {
  const auto isOver = [&](const Gap& gap) { return gap.to.timestamp <= timestamp; };
  openGaps.erase(std::remove_if(openGaps.begin(), openGaps.end(), isOver), openGaps.end());
  for (Gap& gap : openGaps) {
    auto told = reportOf(gap.report.track.id, reports);
    if (told == reports.end()) {
      told = reports.insert(told, gap.report);
    } else if (hasDetection(*told)) {
      continue;
    }
    const Box& from = gap.from.box;
    const Box& to = gap.to.box;
    const double length = secondsBetween(gap.from.timestamp, gap.to.timestamp);
    const double share = secondsBetween(gap.from.timestamp, timestamp) / length;
    told->detectionId = -1;
    told->track.box = {between(from.left, to.left, share), between(from.top, to.top, share),
                       between(from.right, to.right, share), between(from.bottom, to.bottom, share)};
    told->track.velocityX = static_cast<float>(static_cast<double>(center(to).x - center(from).x) / length);
    told->track.velocityY = static_cast<float>(static_cast<double>(center(to).y - center(from).y) / length);
  }
  while (!gapsAhead.empty() && gapsAhead.begin()->first <= timestamp) {
    Gap gap = std::move(gapsAhead.begin()->second);
    gapsAhead.erase(gapsAhead.begin());
    const auto told = reportOf(finalIdentity(gap.identity), reports);
    if (told == reports.end() || isOver(gap)) continue;
    gap.report = *told;
    openGaps.push_back(std::move(gap));
  }
}

}  // namespace nivra::hostkit
