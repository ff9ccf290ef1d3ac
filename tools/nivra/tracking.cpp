#include "tracking.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

#include "byteSource.h"
#include "cameras.h"
#include "errors.h"
#include "formats.h"
#include "jsonLines.h"
#include "motChallenge.h"
#include "progressLine.h"
#include "textFile.h"

namespace nivra::tool {

namespace {

namespace fs = std::filesystem;
using Clock = Cameras::Clock;

constexpr double kUsualFrameRate = 25.0;

struct Summary {
  std::uint64_t frames = 0;
  std::uint64_t detections = 0;
  std::uint64_t tracks = 0;
  std::uint64_t faults = 0;
  Clock::duration updateTime{0};
};

std::string describe(const Summary& summary) {
  const double microseconds = std::chrono::duration<double, std::micro>(summary.updateTime).count();
  return fmt::format("{} frames, {} detections, {} tracks, {} bad lines, {:.1f} µs per frame\n", summary.frames,
                     summary.detections, summary.tracks, summary.faults,
                     microseconds / static_cast<double>(std::max<std::uint64_t>(summary.frames, 1)));
}

/// Labels that occur in an input.
std::set<std::string> labelsOf(Reader& reader) {
  std::set<std::string> labels;
  for (Record record; reader.read(record);) {
    const Frame* const frame = std::get_if<Frame>(&record);
    if (frame == nullptr) continue;
    for (const ObjectDetection& each : frame->detections) labels.insert(each.label);
  }
  return labels;
}

void dropUnsure(FrameTracks& result) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < result.tracks.size(); ++i) {
    if (!result.tracks[i].confident) continue;
    if (kept != i) result.tracks[kept] = std::move(result.tracks[i]);
    result.detections[kept++] = result.detections[i];
  }
  result.tracks.resize(kept);
  result.detections.resize(kept);
}

/// The way of one input's records through its cameras to what is said of them.
class Run {
 public:
  Run(const TrackOptions& trackOptions, const TrackerRecipe& recipe, const LabelAssociations& associations,
      TrackWriter& trackWriter, Summary& totals)
      : options(trackOptions),
        cameras(recipe, associations, trackOptions.mostIdle),
        writer(trackWriter),
        summary(totals),
        frameDuration(frameDurationAt(trackOptions.read.frameRate.value_or(kUsualFrameRate))) {}

  /// @param text Gets what is to be said of the record.
  /// @return The fault that ends the run, if there is one.
  std::optional<BadLine> take(Record& record, std::string& text) {
    const Clock::time_point now = Clock::now();
    ++recordsTaken;
    if (options.mostIdle) writer.dropped(cameras.dropIdle(now));
    if (Frame* const frame = std::get_if<Frame>(&record)) return takeFrame(*frame, now, text);
    if (const CameraMotion* const motion = std::get_if<CameraMotion>(&record)) {
      cameras.at(motion->camera, motion->picture, now).move(*motion);
      writer.motion(*motion, text);
    } else if (const CameraEnd* const end = std::get_if<CameraEnd>(&record)) {
      writer.end(*end, cameras.end(end->camera), text);
    } else {
      return takeFault(std::get<BadLine>(record), text);
    }
    return std::nullopt;
  }

 private:
  static std::uint64_t frameDurationAt(double frameRate) {
    return static_cast<std::uint64_t>(std::llround(1e9 / frameRate));
  }

  std::optional<BadLine> takeFrame(Frame& frame, Clock::time_point now, std::string& text) {
    if (const auto refusal = cameras.refusalOf(frame)) {
      return takeFault({recordsTaken, refusal->field, refusal->message}, text);
    }
    Camera& camera = cameras.at(frame.camera, frame.picture, now);
    const auto start = Clock::now();
    camera.update(frame, frameDuration, result);
    summary.updateTime += Clock::now() - start;
    if (options.confidentOnly) dropUnsure(result);
    ++summary.frames;
    summary.detections += frame.detections.size();
    summary.tracks += result.tracks.size();
    writer.frame(frame, result, text);
    return std::nullopt;
  }

  std::optional<BadLine> takeFault(const BadLine& fault, std::string& text) {
    ++summary.faults;
    const bool hasPlace = writer.fault(fault, text);
    return hasPlace && !options.strict ? std::nullopt : std::optional<BadLine>(fault);
  }

  const TrackOptions& options;
  Cameras cameras;
  TrackWriter& writer;
  Summary& summary;
  std::uint64_t frameDuration;  // ns, for frames that come without a time
  std::uint64_t recordsTaken = 0;
  FrameTracks result;
};

bool canBeReadTwice(const std::string& path) {
  std::error_code ignored;
  return isRegularFile(path) || (path != kStandardInput && fs::is_directory(path, ignored));
}

/// What the caller says; and labels that it mentions, or that an input which can be read twice shows, associate at
/// least with themselves.
LabelAssociations associationsOf(const TrackOptions& options, const TrackInput& input) {
  LabelAssociations associations = options.associations;
  const auto complete = [&](const std::string& label) { associations.try_emplace(label, std::set{label}); };
  for (const auto& [label, taken] : options.associations) std::for_each(taken.begin(), taken.end(), complete);
  for (const std::string& label : options.labels) associations[label].insert(label);
  if (!options.labels.empty()) return associations;
  if (canBeReadTwice(input.path)) {
    const std::set<std::string> labels = labelsOf(*input.format->read(input.path, options.read));
    std::for_each(labels.begin(), labels.end(), complete);
  } else if (associations.empty()) {
    complete(options.read.label);
  }
  return associations;
}

/// Where the tracks of the inputs go, and in which format.
class Plan {
 public:
  /// @throws UsageError when the inputs' tracks can't go there.
  Plan(const TrackOptions& options, const std::string& outputPath) : path(outputPath) {
    format = &chooseFormat(options);
    if (format->writeTracks == nullptr) {
      throw UsageError(fmt::format("{} files hold no tracks; --to takes another format", format->name));
    }
    if (goesToFolder()) {
      checkNames(options.inputs);
    } else if (options.inputs.size() > 1 && format == &kMotChallenge) {
      throw UsageError("several inputs make several MOTChallenge files: -o takes a folder for them");
    }
  }

  const Format& outputFormat() const { return *format; }

  /// Whether every input's tracks go to a file of their own.
  bool goesToFolder() const {
    std::error_code ignored;
    return !path.empty() && (path.back() == '/' || fs::is_directory(path, ignored));
  }

  std::string fileFor(const TrackInput& input) const {
    const std::string name = input.path == kStandardInput ? "stdin" : nameOf(input.path);
    return name + std::string(format->extensions.front());
  }

 private:
  const Format& chooseFormat(const TrackOptions& options) const {
    if (!options.to.empty()) return formatNamed("--to", options.to);
    if (const Format* const named = formatOfFileName(path)) return *named;
    const Format* const first = options.inputs[0].format;
    const bool allAlike = std::all_of(options.inputs.begin(), options.inputs.end(),
                                      [&](const TrackInput& each) { return each.format == first; });
    return allAlike && first->writeTracks != nullptr ? *first : kJsonLines;
  }

  void checkNames(const std::vector<TrackInput>& inputs) const {
    std::set<std::string> names;
    for (const TrackInput& each : inputs) {
      if (!names.insert(fileFor(each)).second) {
        throw UsageError(fmt::format("the tracks of two inputs would be called {}", fileFor(each)));
      }
    }
  }

  std::string path;
  const Format* format = nullptr;
};

/// Follows one input from beginning to end.
void follow(const TrackOptions& options, const TrackerRecipe& recipe, const TrackInput& input, TrackWriter& writer,
            Output& output, Summary& summary) {
  const LabelAssociations associations = associationsOf(options, input);
  const auto reader = input.format->read(input.path, options.read);
  Run run(options, recipe, associations, writer, summary);
  ProgressLine progress(options.progress, Clock::now());
  std::string text;
  for (Record record; reader->read(record);) {
    text.clear();
    const auto fault = run.take(record, text);
    output.write(text);
    output.flush();
    if (fault) failAt(shownName(input.path), static_cast<int>(fault->line), fault->field, fault->message);
    if (reader->progress()) progress.show(summary.frames, reader->progress(), Clock::now());
  }
}

}  // namespace

void track(const TrackOptions& options, const TrackerRecipe& recipe, const Target& target, std::ostream& err) {
  const Plan plan(options, target.path);
  Summary summary;
  std::unique_ptr<Output> output;
  if (!plan.goesToFolder()) output = openOutput(target);
  for (const TrackInput& input : options.inputs) {
    if (plan.goesToFolder()) output = openInside(target, plan.fileFor(input));
    const auto writer = plan.outputFormat().writeTracks({options.read.frameRate, std::nullopt, options.debug});
    follow(options, recipe, input, *writer, *output, summary);
    if (plan.goesToFolder()) output->finish();
  }
  if (!plan.goesToFolder()) output->finish();
  if (options.verbose) err << describe(summary);
}

}  // namespace nivra::tool
