#include "trackCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <set>

#include "motChallenge.h"
#include "output.h"

namespace nivra::tool {

namespace {

struct Summary {
  int frames = 0;
  std::size_t detections = 0;
  std::size_t tracks = 0;
  std::set<int> identities;
  std::chrono::duration<double, std::micro> updateTime{0};
};

unsigned long long timestampOf(int frame, double frameRate) {
  return static_cast<unsigned long long>(std::llround((frame - 1) * 1e9 / frameRate));
}

/// Hands out the detections of frame after frame.
class FrameSource {
 public:
  explicit FrameSource(const Sequence& sequence)
      : position(sequence.detections.begin()), end(sequence.detections.end()) {}

  std::vector<ObjectDetection> take(int frame) {
    std::vector<ObjectDetection> detections;
    for (; position != end && position->frame == frame; ++position) detections.push_back(position->detection);
    return detections;
  }

 private:
  std::vector<FrameDetection>::const_iterator position;
  std::vector<FrameDetection>::const_iterator end;
};

Summary trackFrames(const Sequence& sequence, ObjectTracker& tracker, bool confidentOnly, const Format& format,
                    Output& output) {
  Summary summary;
  FrameSource source(sequence);
  for (int frame = 1; frame <= sequence.frameCount; ++frame) {
    std::vector<ObjectDetection> detections = source.take(frame);
    summary.detections += detections.size();

    const auto start = std::chrono::steady_clock::now();
    tracker.update(detections, timestampOf(frame, sequence.frameRate));
    summary.updateTime += std::chrono::steady_clock::now() - start;

    std::vector<TrackedObjectDetection> tracks = tracker.getTracks();
    if (confidentOnly) {
      const auto unsure = [](const TrackedObjectDetection& each) { return !each.confident; };
      tracks.erase(std::remove_if(tracks.begin(), tracks.end(), unsure), tracks.end());
    }
    output.write(format.formatTracks(frame, tracks, sequence));
    summary.tracks += tracks.size();
    for (const TrackedObjectDetection& each : tracks) summary.identities.insert(each.id);
  }
  summary.frames = sequence.frameCount;
  return summary;
}

std::string describe(const Summary& summary) {
  return fmt::format("{} frames, {} detections, {} tracks, {} identities, {:.1f} µs per frame\n", summary.frames,
                     summary.detections, summary.tracks, summary.identities.size(),
                     summary.updateTime.count() / std::max(summary.frames, 1));
}

}  // namespace

void track(const TrackOptions& options, std::ostream& out, std::ostream& err) {
  const Format& format = kMotChallenge;
  const Sequence sequence = format.read(options.input, options.sequence);
  const std::string& label = options.sequence.label;
  const float aspectRatio = static_cast<float>(sequence.picture.width) / static_cast<float>(sequence.picture.height);
  const auto tracker = createTracker(options.tracker, options.params, {{label, {label}}}, aspectRatio);

  const auto output = options.outputFile.empty() ? openStream(out) : openFile(options.outputFile);
  const Summary summary = trackFrames(sequence, *tracker, options.confidentOnly, format, *output);
  output->finish();
  if (!options.quiet) err << describe(summary);
}

}  // namespace nivra::tool
