#include "hostkit/tracking/answers.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <utility>
#include <variant>

#include "hostkit/errors.h"

namespace nivra::hostkit {

namespace {

constexpr StateKind kAnswersState = {0x5341564EU, 1, "stream's cameras"};  // "NVAS"

constexpr double kUsualFrameRate = 25.0;

std::uint64_t frameDurationAt(double frameRate) { return static_cast<std::uint64_t>(std::llround(1e9 / frameRate)); }

/// Somebody is lost when the tracker says so, and goes where the tracker says, unless the caller wants something else.
ReportOptions reportOf(const AnswerOptions& options) {
  ReportOptions report = options.report;
  if (!options.events) return report;
  report.hold = report.hold.value_or(ReportPolicy::kAlways);
  report.boxes = report.boxes.value_or(ReportedBoxes::smoothed);
  return report;
}

}  // namespace

CameraSettings cameraSettingsOf(const AnswerOptions& options, LabelAssociations associations, bool isFile) {
  CameraSettings settings;
  settings.associations = std::move(associations);
  if (!isFile) settings.mostIdle = options.mostIdle;  // nobody waits for lines of a file
  settings.frameDuration = frameDurationAt(options.read.frameRate.value_or(kUsualFrameRate));
  settings.mostDetections = options.mostDetections;
  settings.debug = options.debug;
  settings.stabilise = options.stabilise;
  settings.explain = options.explain;
  return settings;
}

LabelAssociations associationsOf(const AnswerOptions& options, const std::optional<std::set<std::string>>& known) {
  LabelAssociations associations = options.associations;
  const auto complete = [&](const std::string& label) { associations.try_emplace(label, std::set{label}); };
  for (const auto& [label, taken] : options.associations) std::for_each(taken.begin(), taken.end(), complete);
  for (const std::string& label : options.labels) associations[label].insert(label);
  if (!options.labels.empty()) return associations;
  if (known) {
    std::for_each(known->begin(), known->end(), complete);
  } else if (associations.empty()) {
    complete(options.read.label);
  }
  return associations;
}

std::unique_ptr<TrackWriter> writerFor(const AnswerOptions& options, const Format& format) {
  if (options.events) return writeEvents(*options.events);
  return format.writeTracks({options.read.frameRate, std::nullopt, options.debug});
}

Answers::Answers(const AnswerOptions& answerOptions, const TrackerRecipe& trackerRecipe, LabelAssociations associations,
                 std::unique_ptr<TrackWriter> trackWriter, bool isFile)
    : options(answerOptions),
      recipe(trackerRecipe),
      policy(policyOf(reportOf(options), isFile)),
      settings(cameraSettingsOf(options, std::move(associations), isFile)),
      cameras(recipe, settings),
      writer(std::move(trackWriter)),
      reporting(policy, options.report.delay, *writer) {}

Answers::Answers(const AnswerOptions& answerOptions, const TrackerRecipe& trackerRecipe, LabelAssociations associations,
                 const Format& format, bool isFile)
    : Answers(answerOptions, trackerRecipe, std::move(associations), writerFor(answerOptions, format), isFile) {}

void Answers::foresee(Record& record) {
  now = Cameras::Clock::now();
  if (!camerasAhead) camerasAhead.emplace(recipe, settings);
  try {
    if (auto* const frame = std::get_if<Frame>(&record)) {
      if (!camerasAhead->take(*frame, now, result)) reporting.foresee(*frame, result);
    } else if (const auto* const motion = std::get_if<CameraMotion>(&record)) {
      camerasAhead->take(*motion, now);
    } else if (const auto* const end = std::get_if<CameraEnd>(&record)) {
      camerasAhead->take(*end);
      reporting.foreseeEnd(*end);
    }
  } catch (const std::bad_alloc&) {
    record = BadLine();  // lets go of what the frame took
    result = {};
  }
}

const Answers::Notice& Answers::take(Record& record, std::uint64_t line) {
  camerasAhead.reset();
  now = Cameras::Clock::now();
  currentLine = line;
  notice = {};
  words.clear();
  if (settings.mostIdle) reporting.dropped(cameras.dropIdle(now), words);
  try {
    std::visit([this](auto& each) { takeEach(each); }, record);
  } catch (const std::bad_alloc&) {
    record = BadLine();  // lets go of what the frame took
    result = {};
    words = {};
    notice = {};
    refuse("", kNoMemory);
  }
  return notice;
}

void Answers::saveState(std::string& bytes) const {
  requireStorable();
  StateWriter archive(bytes, kAnswersState);
  archive(optionsDigest(), cameras.states(), reporting.state());
  archive.seal();
}

void Answers::restoreState(std::string_view bytes) {
  requireStorable();
  StateReader reader(bytes, kAnswersState);
  std::uint64_t digest = 0;
  std::vector<CameraState> cameraStates;
  Reporting::State reportState;
  reader(digest);
  if (digest != optionsDigest()) throw StateError("stored state of a stream's cameras: of other options");
  reader(cameraStates, reportState);
  reader.finish();
  cameras.restore(cameraStates, Cameras::Clock::now());
  reporting.restore(reportState);
}

void Answers::requireStorable() const {
  if (policy.looksAhead()) throw UsageError("a state can't be stored where tracks are settled or gaps are filled");
  if (writer->remembers()) throw UsageError("a state can be stored of tracks in jsonl, and not of events");
}

/// Of what decides the answers beside the trackers, which check their own.
std::uint64_t Answers::optionsDigest() const {
  std::string bytes;
  StateWriter archive(bytes, kAnswersState);
  const ReadSettings& read = options.read;
  archive(read.label, read.categories, read.scores,
          read.picture ? std::array{read.picture->width, read.picture->height} : std::array{0, 0},
          settings.frameDuration, static_cast<std::uint64_t>(settings.mostDetections), settings.stabilise,
          settings.debug, policy.tracks, policy.hold, policy.boxes);
  return archive.digest();
}

void Answers::finish() {
  words.clear();
  reporting.finish(words);
}

void Answers::takeEach(Frame& frame) {
  const auto start = Cameras::Clock::now();
  if (const auto refusal = cameras.take(frame, now, result)) return refuse(refusal->field, refusal->message);
  notice.updateTime = Cameras::Clock::now() - start;
  writer->tracked(frame, result);
  reporting.frame(frame, result, words);
  notice.tracked = &frame;
}

void Answers::takeEach(const CameraMotion& motion) {
  cameras.take(motion, now);
  reporting.motion(motion, words);
}

void Answers::takeEach(const CameraEnd& end) {
  const std::set<int> removedIds = cameras.take(end);
  reporting.end(end, removedIds, words);
}

void Answers::takeEach(const BadLine& fault) {
  notice.fault = fault;
  notice.hasPlace = currentLine > 0 && writer->fault(fault, words);
}

void Answers::refuse(const std::string& field, const std::string& what) { takeEach(BadLine{currentLine, field, what}); }

}  // namespace nivra::hostkit
