#include "hostkit/tracking/cameras.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <new>
#include <utility>

namespace nivra::hostkit {

namespace {

std::optional<std::uint64_t> lengthOfFeatures(const Frame& frame) {
  for (const ObjectDetection& each : frame.detections) {
    if (each.feature) return each.feature->size();
  }
  return std::nullopt;
}

Position mapped(Position position, const std::array<double, 6>& matrix) {
  const auto& [a, b, c, d, e, f] = matrix;
  return {a * position.x + b * position.y + c, d * position.x + e * position.y + f};
}

/// The new place of a point of the library's coordinates.
Position moved(Position position, const CameraMotion& motion) {
  if (!motion.picture) return mapped(position, motion.matrix);
  return toNormalised(mapped(toPixels(position, *motion.picture), motion.matrix), *motion.picture);
}

}  // namespace

Camera::Camera(const TrackerRecipe& recipe, const LabelAssociations& labelAssociations, float aspectRatio,
               bool stabilise)
    : associations(labelAssociations),
      ratio(aspectRatio),
      tracker(recipe.make(labelAssociations, aspectRatio, &motionServer)) {
  if (stabilise) motionEstimator.emplace();
}

Camera::Camera(const TrackerRecipe& recipe, const LabelAssociations& labelAssociations, const CameraState& state)
    : associations(labelAssociations),
      ratio(state.aspectRatio),
      tracker(recipe.restore(state.tracker, labelAssociations, state.aspectRatio, &motionServer)),
      lastTimestamp(state.lastTimestamp),
      featureLength(state.featureLength),
      namedLabels(state.namedLabels) {
  if (state.motionEstimator) motionEstimator.emplace(*state.motionEstimator);
}

CameraState Camera::state() const {
  CameraState state;
  state.aspectRatio = ratio;
  tracker->saveState(state.tracker);
  if (motionEstimator) motionEstimator->saveState(state.motionEstimator.emplace());
  state.lastTimestamp = lastTimestamp;
  state.featureLength = featureLength;
  state.namedLabels = namedLabels;
  return state;
}

std::optional<Refusal> Camera::update(Frame& frame, std::uint64_t frameDuration, bool debug, FrameTracks& result) {
  if (auto refusal = refusalOf(frame)) return refusal;
  if (!frame.timestamp) frame.timestamp = lastTimestamp ? *lastTimestamp + frameDuration : 0;
  lastTimestamp = frame.timestamp;
  if (!featureLength) featureLength = lengthOfFeatures(frame);
  removeUnassociated(frame, result.unassociated);
  result.duplicates = suppression.duplicatesAt(frame.detections);
  moveAsEstimated(frame);
  result.reasons.clear();
  if (explains) reasonKeeper.keepIn(&result.reasons);
  result.changes = tracker->update(frame.detections, *frame.timestamp);
  result.reasons.nameDetections(frame.detections);
  tracker->getTracks(result.tracks);
  if (debug) tracker->getDebugTracks(result.debugTracks);
  if (motionEstimator) motionEstimator->follow(result.tracks);
  return std::nullopt;
}

std::optional<Refusal> Camera::refusalOf(const Frame& frame) const {
  if (frame.timestamp && lastTimestamp && *frame.timestamp <= *lastTimestamp) {
    return Refusal{"timestamp", fmt::format("not newer than this camera's last one, {}", *lastTimestamp)};
  }
  // Feature vectors of different lengths cannot be compared.
  auto length = featureLength;
  for (std::size_t i = 0; i < frame.detections.size(); ++i) {
    const auto& feature = frame.detections[i].feature;
    if (!feature) continue;
    if (!length) length = feature->size();
    if (feature->size() == *length) continue;
    return Refusal{fmt::format("detections[{}].feature", i),
                   fmt::format("{} numbers, but the features of this camera have {}", feature->size(), *length)};
  }
  return std::nullopt;
}

void Camera::moveAsEstimated(const Frame& frame) {
  if (!motionEstimator) return;
  const CameraMotionEstimate motion = motionEstimator->estimate(frame.detections, *frame.timestamp);
  if (motion.verdict == CameraMotionEstimate::Verdict::moving) moveTracks(motionServer, motion.map);
}

void Camera::explain() {
  explains = true;
  tracker->explainTo(&reasonKeeper);
}

void Camera::move(const CameraMotion& motion) {
  motionEstimator.reset();  // it knows better
  moveTracks(motionServer, [&](const Point& point) {
    const Position place = moved({point.x, point.y}, motion);
    return Point{static_cast<float>(place.x), static_cast<float>(place.y)};
  });
}

std::set<int> Camera::identities() const {
  std::set<int> ids;
  for (const TrackedObjectDetection& track : tracker->getTracks()) ids.insert(track.id);
  return ids;
}

void Camera::removeUnassociated(Frame& frame, std::vector<std::string>& newLabels) {
  newLabels.clear();
  const std::string* known = nullptr;  // neighbours often share their label
  const auto isUnassociated = [&](const ObjectDetection& detection) {
    const std::string& label = detection.label;
    if (known != nullptr && label == *known) return false;
    const auto found = associations.find(label);
    if (found != associations.end()) {
      known = &found->first;
      return false;
    }
    const bool hasRoom = namedLabels.size() < kMostNamedLabels;
    if (hasRoom && namedLabels.insert(label).second) newLabels.push_back(label);
    return true;
  };
  auto& detections = frame.detections;
  detections.erase(std::remove_if(detections.begin(), detections.end(), isUnassociated), detections.end());
}

template <class... Arguments>
void Cameras::begin(const std::string& name, const Arguments&... arguments) {
  std::list<Entry> begun;  // a list of its own until nothing can fail any more
  begun.emplace_back(name, arguments...);
  if (settings.explain) begun.back().camera.explain();
  entryOf.emplace(name, begun.begin());
  entries.splice(entries.end(), begun);
  most = std::max(most, entries.size());
}

Camera& Cameras::at(const std::string& name, const std::optional<PictureSize>& picture, Clock::time_point now) {
  const auto found = entryOf.find(name);
  if (found != entryOf.end()) {
    entries.splice(entries.end(), entries, found->second);
  } else {
    begin(name, trackerRecipe, settings.associations, aspectRatio(picture), settings.stabilise);
  }
  entries.back().lastUse = now;
  return entries.back().camera;
}

std::optional<Refusal> Cameras::take(Frame& frame, Clock::time_point now, FrameTracks& result) {
  if (frame.detections.size() > settings.mostDetections) {
    return Refusal{"detections", fmt::format("{} detections, but --max-detections allows {}", frame.detections.size(),
                                             settings.mostDetections)};
  }
  const bool isNew = entryOf.count(frame.camera) == 0;
  try {
    Camera& camera = at(frame.camera, frame.picture, now);
    auto refusal = camera.update(frame, settings.frameDuration, settings.debug, result);
    if (refusal && isNew) forget(frame.camera);
    return refusal;
  } catch (const std::bad_alloc&) {
    if (isNew) forget(frame.camera);
    throw;
  }
}

void Cameras::take(const CameraMotion& motion, Clock::time_point now) {
  at(motion.camera, motion.picture, now).move(motion);
}

std::set<int> Cameras::take(const CameraEnd& end) {
  const auto found = entryOf.find(end.camera);
  if (found == entryOf.end()) return {};
  std::set<int> ids = found->second->camera.identities();
  forget(end.camera);
  return ids;
}

void Cameras::forget(const std::string& name) {
  const auto found = entryOf.find(name);
  if (found == entryOf.end()) return;
  entries.erase(found->second);
  entryOf.erase(found);
  giveMemoryBack();
}

std::vector<CameraState> Cameras::states() const {
  std::vector<CameraState> states;
  states.reserve(entries.size());
  for (const Entry& each : entries) {
    states.push_back(each.camera.state());
    states.back().name = each.name;
  }
  return states;
}

void Cameras::restore(const std::vector<CameraState>& states, Clock::time_point now) {
  entryOf.clear();
  entries.clear();
  for (const CameraState& each : states) {
    if (entryOf.count(each.name) > 0) throw StateError("stored state of a camera: damaged: of the name of another one");
    begin(each.name, trackerRecipe, settings.associations, each);
    entries.back().lastUse = now;
  }
}

/// The allocator keeps what is freed between what is still in use; each time the cameras have halved it is asked for
/// it.
void Cameras::giveMemoryBack() {
  if (entries.size() > most / 2) return;
  most = entries.size();
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

std::vector<std::string> Cameras::dropIdle(Clock::time_point now) {
  std::vector<std::string> dropped;
  while (settings.mostIdle && !entries.empty() && now - entries.front().lastUse > *settings.mostIdle) {
    dropped.push_back(entries.front().name);
    forget(dropped.back());
  }
  return dropped;
}

}  // namespace nivra::hostkit
