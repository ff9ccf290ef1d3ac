#include "hostkit/formats/trackRows.h"

#include <fmt/format.h>

#include <algorithm>

#include "hostkit/errors.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

void TrackRowWriter::frame(const Frame& frame, const FrameTracks& result, TextBuffer& lines) {
  Camera& camera = cameraOf(frame);
  if (!frame.picture) throw UsageError(fmt::format("{} files are in pixels: give --picture WxH", format.title));
  const int number = camera.numbering.next(*frame.timestamp);
  for (const TrackReport& report : result.tracks) {
    const TrackedObjectDetection& track = report.track;
    const PixelBox box = toPixels(track.box, *frame.picture);
    if (!hasArea(box)) {
      ++outside;
      continue;
    }
    const std::int64_t id = camera.firstId + track.id;
    camera.nextId = std::max(camera.nextId, id + 1);
    append({frame, track, number, id, box, track.score / frame.percentPerConfidence}, lines);
  }
}

/// Its next tracker's identities begin anew, but are others.
void TrackRowWriter::end(const CameraEnd& end, const std::set<int>&, TextBuffer&) { dropped({end.camera}); }

void TrackRowWriter::dropped(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const auto found = cameras.find(name);
    if (found != cameras.end()) found->second.firstId = found->second.nextId;
  }
}

TrackRowWriter::Camera& TrackRowWriter::cameraOf(const Frame& frame) {
  const auto found = cameras.find(frame.camera);
  if (found != cameras.end()) return found->second;
  if (format.holdsOneCamera && !cameras.empty()) {
    throw FileError(fmt::format("{} files hold one camera, not both {} and {}: take --to jsonl", format.title,
                                hostkit::quoted(cameras.begin()->first), hostkit::quoted(frame.camera)));
  }
  return cameras.emplace(frame.camera, Camera{{settings.frameRate, settings.start}}).first->second;
}

}  // namespace nivra::hostkit
