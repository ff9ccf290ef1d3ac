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
  std::set<std::string> untracked;  // labels that no association covers
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

std::uint64_t frameDurationAt(double frameRate) { return static_cast<std::uint64_t>(std::llround(1e9 / frameRate)); }

/// One input from beginning to end: every record goes to its camera, and what came of it to the output.
class Run {
 public:
  Run(const TrackOptions& trackOptions, const TrackerRecipe& recipe, const TrackInput& trackInput,
      const Format& outputFormat, Output& trackOutput, Summary& totals)
      : options(trackOptions),
        input(trackInput),
        cameras(recipe, associationsOf(options, input), options.mostIdle),
        writer(outputFormat.writeTracks({options.read.frameRate, std::nullopt, options.debug})),
        output(trackOutput),
        summary(totals),
        frameDuration(frameDurationAt(options.read.frameRate.value_or(kUsualFrameRate))) {}

  void follow() {
    const auto reader = input.format->read(input.path, options.read);
    const bool isStream = input.path == kStandardInput;
    ProgressLine progress(isStream ? nullptr : options.progress, Clock::now());
    for (Record record; reader->read(record);) {
      now = Clock::now();
      ++recordsTaken;
      if (options.mostIdle) writer->dropped(cameras.dropIdle(now));
      std::visit([this](auto& each) { take(each); }, record);
      handOut();
      if (reader->progress()) progress.show(summary.frames, reader->progress(), Clock::now());
    }
  }

 private:
  void take(Frame& frame) {
    const auto start = Clock::now();
    if (const auto refusal = cameras.update(frame, frameDuration, now, result)) {
      return take(BadLine{recordsTaken, refusal->field, refusal->message});
    }
    summary.updateTime += Clock::now() - start;
    if (options.confidentOnly) dropUnsure(result);
    ++summary.frames;
    summary.detections += frame.detections.size();
    summary.tracks += result.tracks.size();
    summary.untracked.insert(result.unassociated.begin(), result.unassociated.end());
    writer->frame(frame, result, text);
  }

  void take(const CameraMotion& motion) {
    cameras.at(motion.camera, motion.picture, now).move(motion);
    writer->motion(motion, text);
  }

  void take(const CameraEnd& end) { writer->end(end, cameras.end(end.camera), text); }

  void take(const BadLine& fault) {
    ++summary.faults;
    const bool hasPlace = writer->fault(fault, text);
    if (hasPlace && !options.strict) return;
    handOut();
    failAt(shownName(input.path), static_cast<int>(fault.line), fault.field, fault.message);
  }

  void handOut() {
    output.write(text);
    output.flush();
    text.clear();
  }

  const TrackOptions& options;
  const TrackInput& input;
  Cameras cameras;
  const std::unique_ptr<TrackWriter> writer;
  Output& output;
  Summary& summary;
  const std::uint64_t frameDuration;  // ns, for frames that come without a time
  std::uint64_t recordsTaken = 0;
  Clock::time_point now;
  FrameTracks result;
  std::string text;
};

bool isFolder(const std::string& path) {
  std::error_code ignored;
  return !path.empty() && (path.back() == '/' || fs::is_directory(path, ignored));
}

const Format& outputFormatOf(const TrackOptions& options, const std::string& path) {
  if (!options.to.empty()) return formatNamed("--to", options.to);
  if (const Format* const named = formatOfFileName(path)) return *named;
  const Format* const first = options.inputs[0].format;
  const bool allAlike = std::all_of(options.inputs.begin(), options.inputs.end(),
                                    [&](const TrackInput& each) { return each.format == first; });
  return allAlike && first->writeTracks != nullptr ? *first : kJsonLines;
}

/// The name of an input's tracks in a folder.
std::string fileFor(const TrackInput& input, const Format& format) {
  const std::string name = input.path == kStandardInput ? "stdin" : nameOf(input.path);
  return name + std::string(format.extensions.front());
}

/// @throws UsageError when tracks of these inputs can't go there.
void requirePlace(const std::vector<TrackInput>& inputs, const Format& format, bool toFolder) {
  if (format.writeTracks == nullptr) {
    throw UsageError(fmt::format("{} files hold no tracks; --to takes another format", format.name));
  }
  if (!toFolder && inputs.size() > 1 && &format == &kMotChallenge) {
    throw UsageError("several inputs make several MOTChallenge files: -o takes a folder for them");
  }
  std::set<std::string> names;
  for (const TrackInput& each : inputs) {
    if (toFolder && !names.insert(fileFor(each, format)).second) {
      throw UsageError(fmt::format("the tracks of two inputs would be called {}", fileFor(each, format)));
    }
  }
}

}  // namespace

void track(const TrackOptions& options, const TrackerRecipe& recipe, const Target& target, std::ostream& err) {
  const Format& format = outputFormatOf(options, target.path);
  const bool toFolder = isFolder(target.path);
  requirePlace(options.inputs, format, toFolder);
  Summary summary;
  std::unique_ptr<Output> output;
  if (!toFolder) output = openOutput(target);
  for (const TrackInput& input : options.inputs) {
    if (toFolder) output = openInside(target, fileFor(input, format));
    Run(options, recipe, input, format, *output, summary).follow();
    if (toFolder) output->finish();
  }
  if (!toFolder) output->finish();
  if (options.verbose) err << describe(summary);
  if (&format == &kMotChallenge && !summary.untracked.empty()) {  // which has no place to name them
    err << fmt::format("not tracked, as no association covers them: {}\n", fmt::join(summary.untracked, ", "));
  }
}

}  // namespace nivra::tool
