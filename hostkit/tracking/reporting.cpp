#include "hostkit/tracking/reporting.h"

#include <algorithm>
#include <limits>

namespace nivra::hostkit {

void Reporting::foresee(const Frame& frame, FrameTracks& tracks) {
  Camera& camera = cameras[frame.camera];
  if (!camera.isForeseen) camera.steps.emplace_back(policy);
  camera.isForeseen = true;
  camera.steps.back().chooseBoxes(frame.detections, tracks);
  camera.steps.back().learn(*frame.timestamp, tracks);
}

void Reporting::foreseeEnd(const CameraEnd& end) {
  const auto found = cameras.find(end.camera);
  if (found != cameras.end()) found->second.isForeseen = false;
}

void Reporting::frame(Frame& frame, FrameTracks& tracks, TextBuffer& text) {
  Camera& camera = cameras[frame.camera];
  if (camera.steps.empty()) camera.steps.emplace_back(policy);
  camera.isTold = true;
  camera.steps.front().chooseBoxes(frame.detections, tracks);
  if (!delay) return tell(camera, frame, tracks, text);

  const std::uint64_t timestamp = *frame.timestamp;
  camera.steps.front().learn(timestamp, tracks);
  camera.late.emplace_back(kept(frame, tracks));
  if (timestamp >= *delay) tellLate(camera, timestamp - *delay, text);
}

/// All that is needed to tell a frame, which its detections are not.
Reporting::TrackedFrame Reporting::kept(Frame& frame, const FrameTracks& tracks) {
  std::vector<ObjectDetection> detections = std::move(frame.detections);
  frame.detections.clear();
  TrackedFrame kept{frame, tracks};
  frame.detections = std::move(detections);
  return kept;
}

void Reporting::motion(const CameraMotion& motion, TextBuffer& text) {
  const auto found = cameras.find(motion.camera);
  if (found == cameras.end() || found->second.late.empty()) return writer.motion(motion, text);
  found->second.late.emplace_back(motion);
}

void Reporting::end(const CameraEnd& end, const std::set<int>& removedIds, TextBuffer& text) {
  finish(end.camera, text);
  writer.end(end, removedIds, text);
}

void Reporting::dropped(const std::vector<std::string>& cameraNames, TextBuffer& text) {
  for (const std::string& name : cameraNames) finish(name, text);
  writer.dropped(cameraNames);
}

void Reporting::finish(TextBuffer& text) {
  for (auto& [name, camera] : cameras) tellLate(camera, std::numeric_limits<std::uint64_t>::max(), text);
  writer.finish(text);
}

Reporting::State Reporting::state() const {
  State state;
  for (const auto& [name, camera] : cameras) state.emplace(name, camera.steps.front().lastDetections());
  return state;
}

void Reporting::restore(const State& state) {
  cameras.clear();
  for (const auto& [name, lastDetections] : state) {
    Camera& camera = cameras[name];
    camera.steps.emplace_back(policy).restore(lastDetections);
    camera.isTold = true;
  }
}

void Reporting::tell(Camera& camera, const Frame& frame, FrameTracks& tracks, TextBuffer& text) {
  camera.steps.front().apply(*frame.timestamp, tracks);
  toldCount += tracks.tracks.size();
  writer.frame(frame, tracks, text);
}

/// What has waited for long enough, and the movements behind it.
void Reporting::tellLate(Camera& camera, std::uint64_t until, TextBuffer& text) {
  for (; !camera.late.empty(); camera.late.pop_front()) {
    if (auto* const tracked = std::get_if<TrackedFrame>(&camera.late.front())) {
      if (*tracked->frame.timestamp > until) return;
      tell(camera, tracked->frame, tracked->tracks, text);
    } else {
      writer.motion(std::get<CameraMotion>(camera.late.front()), text);
    }
  }
}

/// The present tracker of a camera says no more.
void Reporting::finish(const std::string& name, TextBuffer& text) {
  const auto found = cameras.find(name);
  if (found == cameras.end()) return;
  Camera& camera = found->second;
  tellLate(camera, std::numeric_limits<std::uint64_t>::max(), text);
  if (std::exchange(camera.isTold, false)) camera.steps.pop_front();
  if (camera.steps.empty()) cameras.erase(found);
}

}  // namespace nivra::hostkit
