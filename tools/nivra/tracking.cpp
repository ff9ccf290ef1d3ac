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
    Camera& camera = cameras.at(frame.camera, frame.picture, now);
    if (const auto refusal = camera.refusalOf(frame)) {
      return takeFault({recordsTaken, refusal->field, refusal->message}, text);
    }
    const auto start = Clock::now();
    camera.update(frame, frameDuration, result);
    summary.updateTime += Clock::now() - start;
    if (options.confidentOnly) {
      const auto isUnsure = [](const internal::DebugTrack& each) { return !each.track.confident; };
      result.tracks.erase(std::remove_if(result.tracks.begin(), result.tracks.end(), isUnsure), result.tracks.end());
    }
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

/// Labels that the caller doesn't mention associate with themselves, if the input can tell which ones there are.
LabelAssociations associationsOf(const TrackOptions& options, const std::string& path, const Format& format) {
  LabelAssociations associations = options.associations;
  for (const std::string& label : options.labels) associations[label].insert(label);
  if (!options.labels.empty()) return associations;
  if (canBeReadTwice(path)) {
    for (const std::string& label : labelsOf(*format.read(path, options.read))) {
      associations.emplace(label, std::set<std::string>{label});
    }
  } else if (associations.empty()) {
    associations[options.read.label] = {options.read.label};
  }
  return associations;
}

/// The inputs, their formats, and where and in which format each one's tracks go.
class Plan {
 public:
  Plan(const TrackOptions& trackOptions, const std::string& outputPath)
      : options(trackOptions), path(outputPath), inputs(trackOptions.inputs) {
    if (inputs.empty()) inputs.push_back(kStandardInput);
    for (const std::string& input : inputs) {
      inputFormats.push_back(options.from.empty() ? &recogniseFormat(input) : &formatNamed("--from", options.from));
    }
    outputFormat = &chooseOutputFormat();
    if (outputFormat->writeTracks == nullptr) {
      throw UsageError(fmt::format("{} files hold no tracks; --to takes another format", outputFormat->name));
    }
    if (goesToFolder()) checkNames();
    if (!goesToFolder() && inputs.size() > 1 && outputFormat == &kMotChallenge) {
      throw UsageError("several inputs make several MOTChallenge files: -o takes a folder for them");
    }
  }

  std::size_t size() const { return inputs.size(); }
  const std::string& input(std::size_t i) const { return inputs[i]; }
  const Format& formatOf(std::size_t i) const { return *inputFormats[i]; }
  const Format& format() const { return *outputFormat; }

  /// Whether every input's tracks go to a file of their own.
  bool goesToFolder() const {
    std::error_code ignored;
    return !path.empty() && (path.back() == '/' || fs::is_directory(path, ignored));
  }

  std::string fileOf(std::size_t i) const {
    const std::string name = inputs[i] == kStandardInput ? "stdin" : nameOf(inputs[i]);
    return name + std::string(outputFormat->extensions.front());
  }

 private:
  const Format& chooseOutputFormat() const {
    if (!options.to.empty()) return formatNamed("--to", options.to);
    if (const Format* const named = formatOfFileName(path)) return *named;
    const bool allAlike = std::count(inputFormats.begin(), inputFormats.end(), inputFormats[0]) ==
                          static_cast<std::ptrdiff_t>(inputFormats.size());
    return allAlike && inputFormats[0]->writeTracks != nullptr ? *inputFormats[0] : kJsonLines;
  }

  void checkNames() const {
    std::set<std::string> names;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      if (!names.insert(fileOf(i)).second) {
        throw UsageError(fmt::format("the tracks of two inputs would be called {}", fileOf(i)));
      }
    }
  }

  const TrackOptions& options;
  std::string path;  // of the output
  std::vector<std::string> inputs;
  std::vector<const Format*> inputFormats;
  const Format* outputFormat = nullptr;
};

/// Follows one input from beginning to end.
void follow(const TrackOptions& options, const TrackerRecipe& recipe, const std::string& input, const Format& format,
            TrackWriter& writer, Output& output, Summary& summary) {
  const LabelAssociations associations = associationsOf(options, input, format);
  const auto reader = format.read(input, options.read);
  Run run(options, recipe, associations, writer, summary);
  ProgressLine progress(options.progress, Clock::now());
  std::string text;
  for (Record record; reader->read(record);) {
    text.clear();
    const auto fault = run.take(record, text);
    output.write(text);
    output.flush();
    if (fault) failAt(shownName(input), static_cast<int>(fault->line), fault->field, fault->message);
    if (reader->progress()) progress.show(summary.frames, reader->progress(), Clock::now());
  }
}

}  // namespace

void track(const TrackOptions& options, const TrackerRecipe& recipe, const Target& target, std::ostream& err) {
  const Plan plan(options, target.path);
  Summary summary;
  std::unique_ptr<Output> output;
  if (!plan.goesToFolder()) output = openOutput(target);
  for (std::size_t i = 0; i < plan.size(); ++i) {
    if (plan.goesToFolder()) output = openInside(target, plan.fileOf(i));
    const auto writer = plan.format().writeTracks({options.read.frameRate, options.debug});
    follow(options, recipe, plan.input(i), plan.formatOf(i), *writer, *output, summary);
    if (plan.goesToFolder()) output->finish();
  }
  if (!plan.goesToFolder()) output->finish();
  if (options.verbose) err << describe(summary);
}

}  // namespace nivra::tool
