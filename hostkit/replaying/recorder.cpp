#include "hostkit/replaying/recorder.h"

#include <algorithm>
#include <utility>

namespace nivra::hostkit {

CameraDrafts::Draft& CameraDrafts::at(const std::string& name) {
  const auto [place, isNew] = places.emplace(name, drafts.size());
  if (isNew) drafts.emplace_back().camera.name = name;
  return drafts[place->second];
}

CameraDrafts::Draft* CameraDrafts::find(const std::string& name, bool isOnly) {
  const auto found = places.find(name);
  if (found != places.end()) return &drafts[found->second];
  return isOnly && drafts.size() == 1 ? &drafts.front() : nullptr;
}

CameraDrafts::Draft& CameraDrafts::forSequence(const std::string& name, bool isOnly) {
  Draft* const found = find(name, isOnly);
  return found != nullptr ? *found : at(name);
}

int CameraDrafts::placeOf(Draft& draft, const std::string& label) {
  const auto [place, isNew] = draft.labels.emplace(label, static_cast<int>(draft.camera.labels.size()));
  if (isNew) draft.camera.labels.push_back(label);
  return place->second;
}

void CameraDrafts::outline(Draft& draft, const Frame& frame) {
  constexpr PictureSize kUsualPicture = {1920, 1080};
  RecordedCamera& camera = draft.camera;
  if (camera.picture.width > 0) return;
  camera.inPixels = frame.picture.has_value();
  camera.picture = frame.picture.value_or(kUsualPicture);
}

void CameraDrafts::addDetections(Draft& draft, const Frame& frame, int number) {
  outline(draft, frame);
  RecordedCamera& camera = draft.camera;
  draft.timestamps[number] = *frame.timestamp;
  camera.detections.resize(std::max(camera.detections.size(), static_cast<std::size_t>(number)));
  for (const ObjectDetection& each : frame.detections) {
    camera.detections[static_cast<std::size_t>(number) - 1].push_back(
        {toPixels(each.box, camera.picture), each.score, placeOf(draft, each.label)});
  }
}

void Recorder::tracked(const Frame& frame, const FrameTracks& result) {
  CameraDrafts::Draft& draft = drafts.at(frame.camera);
  Camera& camera = cameraOf(frame, draft);
  const int number = camera.numbering.next(*frame.timestamp);
  for (const TrackReport& each : result.tracks) {
    camera.nextId = std::max(camera.nextId, camera.firstId + each.track.id + 1);
  }
  if (keeps.detections) CameraDrafts::addDetections(draft, frame, number);
  if (keeps.reasons) draft.chronicles[camera.run].add(number, frame, result);
}

void Recorder::frame(const Frame& frame, const FrameTracks& result, TextBuffer&) {
  CameraDrafts::Draft& draft = drafts.at(frame.camera);
  Camera& camera = cameraOf(frame, draft);
  const int number = camera.numberingOfTold.next(*frame.timestamp);
  RecordedTracks& run = draft.camera.runs[camera.run];
  for (const TrackReport& report : result.tracks) {
    IdentifiedRow row = rowOf(report.track, number, camera, draft);
    row.seen = report.detectionId >= 0;
    if (hasArea(row.identified.box)) run.sequence.rows.push_back(row);
  }
  for (const internal::DebugTrack& each : result.debugTracks) {
    if (each.state != static_cast<std::int32_t>(reid::TrackState::Inactive)) continue;
    IdentifiedRow row = rowOf(each.track, number, camera, draft);
    row.seen = false;
    run.lost.push_back(row);
  }
  for (const auto& [absorbed, into] : result.changes.mergedIds) {
    run.sequence.merges.push_back({number, camera.firstId + absorbed, camera.firstId + into});
  }
  count(frame, result, number, camera, run);
}

void Recorder::count(const Frame& frame, const FrameTracks& result, int number, Camera& camera,
                     RecordedTracks& run) const {
  if (zones.zones.empty() && zones.lines.empty()) return;
  std::vector<Event> happened;
  camera.events.take(frame, result, happened);
  if (!happened.empty()) run.counts.push_back({number, camera.events.counts()});
}

/// Its next tracker's identities begin anew, but are others.
void Recorder::end(const CameraEnd& end, const std::set<int>&, TextBuffer&) {
  const auto found = cameras.find(end.camera);
  if (found == cameras.end()) return;
  found->second.firstId = found->second.nextId;
  std::vector<Event> happened;
  found->second.events.end(happened);
  if (keeps.reasons) drafts.at(end.camera).chronicles[found->second.run].cutOff();
}

Recorder::Camera& Recorder::cameraOf(const Frame& frame, CameraDrafts::Draft& draft) {
  const auto found = cameras.find(frame.camera);
  if (found != cameras.end()) return found->second;
  CameraDrafts::outline(draft, frame);
  const std::size_t run = draft.camera.runs.size();
  RecordedTracks& tracks = draft.camera.runs.emplace_back();
  tracks.name = name;
  tracks.sequence.name = tracks.sequence.file = frame.camera;
  tracks.sequence.inPixels = draft.camera.inPixels;
  CameraEvents events(zones, frame.camera, aspectRatio(draft.camera.picture));
  const FrameNumbering numbering(frameRate, std::nullopt);
  return cameras.emplace(frame.camera, Camera{numbering, numbering, std::move(events), run}).first->second;
}

IdentifiedRow Recorder::rowOf(const TrackedObjectDetection& track, int number, Camera& camera,
                              CameraDrafts::Draft& draft) {
  IdentifiedRow row;
  row.frame = number;
  row.identified = {toPixels(track.box, draft.camera.picture), camera.firstId + track.id};
  row.label = CameraDrafts::placeOf(draft, track.label);
  row.score = track.score;
  row.confident = track.confident;
  return row;
}

}  // namespace nivra::hostkit
