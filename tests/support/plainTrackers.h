#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "nivra/nivra.h"

/// The trackers in their plainest form: every pair is tried, and whatever is looked for is looked for from the
/// beginning. They stand on the public tracks and records alone, so the way in which the library finds its pairs can
/// change without them. The library's trackers equal them bit for bit.
namespace nivra::test {

/// All that a tracker is made from.
struct Settings {
  vanilla::TrackerParams vanilla, lowFps;
  reid::TrackerParams reid;
  LabelAssociations labels;
};

inline Settings defaultSettings(const LabelAssociations& labels, float aspectRatio) {
  ParameterMap none;
  return {parseVanillaParameters(none, aspectRatio), parseVanillaLowFpsParameters(none, aspectRatio),
          parseReidParameters(none, aspectRatio), labels};
}

/// A camera that moves by (dx, dy), and can't tell where to when it is asked for the time after `answers` times.
struct Camera {
  float dx = 0.0F, dy = 0.0F;
  int answers = 0;

  static bool move(void* camera, int, Point& point) {
    auto& [dx, dy, answers] = *static_cast<Camera*>(camera);
    point = {point.x + dx, point.y + dy};
    return answers-- != 0;
  }
};

class PlainTracker : public ObjectTracker {
 public:
  std::vector<TrackedObjectDetection> getTracks() const override {
    std::vector<TrackedObjectDetection> reports;
    for (const internal::DebugTrack& debug : getDebugTracks()) {
      if (debug.state != static_cast<int>(reid::TrackState::Inactive)) reports.push_back(debug.track);
    }
    return reports;
  }
  /// Moves the tracks as `server` says.
  virtual void followCamera(MotionTrackerServer& server) = 0;
};

/// A pair that may be matched. Lower turns are served first.
struct PlainPair {
  int turn;
  float cost;
  std::size_t one, other;
};

/// The pairs that are accepted: by turn, then by cost with those that are not a number last, then by the order of the
/// one side, then of the other, each if both of its sides are still free.
inline std::vector<PlainPair> choose(std::vector<PlainPair> pairs) {
  const auto keyOf = [](const PlainPair& pair) {
    const bool isNumber = !std::isnan(pair.cost);
    return std::tuple(pair.turn, !isNumber, isNumber ? pair.cost : 0.0F, pair.one, pair.other);
  };
  std::sort(pairs.begin(), pairs.end(), [&](const auto& a, const auto& b) { return keyOf(a) < keyOf(b); });
  std::vector<PlainPair> chosen;
  for (const PlainPair& pair : pairs) {
    const auto clashes = [&](const PlainPair& taken) { return taken.one == pair.one || taken.other == pair.other; };
    if (std::none_of(chosen.begin(), chosen.end(), clashes)) chosen.push_back(pair);
  }
  return chosen;
}

inline std::pair<float, float> sharedAndJointArea(const Box& a, const Box& b) {
  const float width = std::min(a.right, b.right) - std::max(a.left, b.left);
  const float height = std::min(a.top, b.top) - std::max(a.bottom, b.bottom);
  const float shared = width > 0.0F && height > 0.0F ? width * height : 0.0F;
  const auto area = [](const Box& box) { return (box.right - box.left) * (box.top - box.bottom); };
  return {shared, area(a) + area(b) - shared};
}

inline float plainIou(const Box& a, const Box& b) {
  const auto [shared, joint] = sharedAndJointArea(a, b);
  return joint > 0.0F ? shared / joint : 0.0F;
}

inline void plainlyMarkInbetween(std::vector<ObjectDetection>& detections, const reid::InBetweenParams& params) {
  const auto areNeighbours = [&](const ObjectDetection& a, const ObjectDetection& b) {
    if (&a == &b || a.label != b.label || std::isnan(sharedAndJointArea(a.box, b.box).second)) return false;
    return plainIou(a.box, b.box) > params.minIou;
  };
  for (ObjectDetection& a : detections) {
    for (std::size_t i = 0; i < detections.size(); ++i) {
      const ObjectDetection& b = detections[i];
      if (!areNeighbours(a, b)) continue;
      for (std::size_t j = i + 1; j < detections.size(); ++j) {
        const ObjectDetection& c = detections[j];
        if (!areNeighbours(a, c)) continue;
        const float limit = std::min(b.objectness, c.objectness) - params.iouScoreMargin;
        const float cosine = reid::angleBetweenDetections(a, b, c, 256.0F / 81.0F);
        if (!(limit < a.objectness) && cosine <= params.maxAngle) a.inbetween = true;
      }
    }
  }
}

/// What the trackers have in common that are not made of others.
template <class Track>
class PlainTrackerOf : public PlainTracker {
 public:
  explicit PlainTrackerOf(const LabelAssociations& associations) : labels(associations) {}

  std::vector<internal::DebugTrack> getDebugTracks() const override {
    std::vector<internal::DebugTrack> reports;
    for (const Track& track : tracks) reports.push_back(track.reportDebugTrack());
    return reports;
  }

  void followCamera(MotionTrackerServer& server) override {
    for (Track& track : tracks) {
      const Box box = track.getClampedBox();
      const Point from = {box.left + (box.right - box.left) * 0.5F, box.bottom + (box.top - box.bottom) * 0.5F};
      Point to = from;
      if (!server.recalculatePosition(to)) return;
      const float dx = to.x - from.x, dy = to.y - from.y;
      track.updateBox({box.left + dx, box.top + dy, box.right + dx, box.bottom + dy});
    }
  }

 protected:
  std::set<int> takeExpired() {
    std::set<int> expired;
    std::vector<Track> living;
    for (Track& track : tracks) {
      if (track.isExpired()) expired.insert(track.getId());
      if (!track.isExpired()) living.push_back(std::move(track));
    }
    tracks = std::move(living);
    return expired;
  }

  LabelAssociations labels;
  std::vector<Track> tracks;
  int nextId = 0;
};

/// The vanilla and the low-frame-rate tracker.
template <class Track>
class PlainLikelihoodTracker final : public PlainTrackerOf<Track> {
 public:
  PlainLikelihoodTracker(const vanilla::TrackerParams& trackerParams, const LabelAssociations& associations)
      : PlainTrackerOf<Track>(associations), params(trackerParams) {}

  TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) override {
    predict(timestamp);
    std::vector<PlainPair> pairs;
    for (std::size_t t = 0; t < tracks.size(); ++t) {
      for (std::size_t d = 0; d < detections.size(); ++d) {
        if (!tracks[t].canAssociate(detections[d], labels)) continue;
        pairs.push_back({tracks[t].isTentative() ? 1 : 0, -tracks[t].observationLikelihood(detections[d]), t, d});
      }
    }
    std::vector<bool> isTaken(detections.size()), hasTaken(tracks.size());
    for (const PlainPair& pair : choose(pairs)) {
      tracks[pair.one].update(detections[pair.other], timestamp);
      hasTaken[pair.one] = isTaken[pair.other] = true;
    }
    for (std::size_t t = 0; t < hasTaken.size(); ++t) {
      if (!hasTaken[t]) tracks[t].emptyUpdate();
    }
    for (std::size_t d = 0; d < detections.size(); ++d) {
      if (!isTaken[d]) tracks.emplace_back(detections[d], nextId++, timestamp, params);
    }
    return {this->takeExpired(), {}};
  }

 private:
  void predict(unsigned long long timestamp) {
    if constexpr (std::is_same_v<Track, vanilla::ObjectTrack>) {
      for (Track& track : tracks) track.predict(timestamp);
    } else {
      for (Track& track : tracks) {
        track.predict(timestamp, track.getLabel() != "human" && overlapping.count(track.getId()) == 0);
      }
      overlapping.clear();
      for (std::size_t a = 0; a < tracks.size(); ++a) {
        for (std::size_t b = a + 1; b < tracks.size(); ++b) {
          const auto admissible = labels.find(tracks[a].getLabel());
          if (admissible == labels.end()) {
            std::fprintf(stderr, "Got class without known associations: %s\n", tracks[a].getLabel().c_str());
          } else if (admissible->second.count(tracks[b].getLabel()) != 0 &&
                     plainIou(tracks[a].getBox(), tracks[b].getBox()) > 0.4F) {
            overlapping.insert({tracks[a].getId(), tracks[b].getId()});
          }
        }
      }
    }
  }

  using PlainTrackerOf<Track>::labels, PlainTrackerOf<Track>::tracks, PlainTrackerOf<Track>::nextId;
  vanilla::TrackerParams params;
  std::set<int> overlapping;
};

/// A track with a gallery of its own beside the track's.
struct PlainReidTrack : reid::ObjectTrack {
  using ObjectTrack::ObjectTrack;
  void store(const std::optional<std::vector<float>>& feature) {
    if (feature) gallery.push_back(*feature);
    if (gallery.size() > 50) gallery.erase(gallery.begin());
  }

  std::vector<std::vector<float>> gallery;
};

class PlainReidTracker final : public PlainTrackerOf<PlainReidTrack> {
 public:
  PlainReidTracker(const reid::TrackerParams& trackerParams, const LabelAssociations& associations)
      : PlainTrackerOf(associations), params(trackerParams) {}

  TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) override {
    using State = reid::TrackState;
    for (PlainReidTrack& track : tracks) track.predict(timestamp);
    const std::set<int> overlapping = findOverlapping(timestamp);
    if (params.inBetween.useInbetween) plainlyMarkInbetween(detections, params.inBetween);

    std::vector<PlainPair> pairs;
    std::vector<std::size_t> lost;
    for (std::size_t t = 0; t < tracks.size(); ++t) {
      const State state = tracks[t].getState();
      if (state == State::Inactive) lost.push_back(t);
      const int rank = state == State::ConfidentId ? 0 : state == State::Confident ? 1 : 2;
      for (std::size_t d = 0; d < detections.size() && state != State::Inactive; ++d) {
        const auto [isAdmissible, cost] = costOf(tracks[t], detections[d]);
        if (isAdmissible) pairs.push_back({rank + (detections[d].inbetween ? 3 : 0), cost, t, d});
      }
    }
    std::vector<bool> isTaken(detections.size()), hasTaken(tracks.size());
    for (const PlainPair& pair : choose(pairs)) {
      PlainReidTrack& track = tracks[pair.one];
      const ObjectDetection& detection = detections[pair.other];
      const bool isStored = overlapping.count(track.getId()) == 0;
      track.update(detection, timestamp, isStored);
      if (isStored && track.getDetection() == &detection) track.store(detection.feature);
      hasTaken[pair.one] = isTaken[pair.other] = true;
    }
    for (std::size_t t = 0; t < tracks.size(); ++t) {
      const bool isLost = std::find(lost.begin(), lost.end(), t) != lost.end();
      if (!isLost && !hasTaken[t]) tracks[t].emptyUpdate(timestamp);
    }
    TrackUpdateResult result;
    result.mergedIds = reviveLost(lost, timestamp);

    result.removedIds = takeExpired();
    for (std::size_t d = 0; d < detections.size(); ++d) {
      if (isTaken[d] || detections[d].inbetween) continue;
      tracks.emplace_back(detections[d], nextId++, timestamp, params);
      tracks.back().store(detections[d].feature);
    }
    for (PlainReidTrack& track : tracks) track.releaseDetection();
    return result;
  }

 private:
  std::set<int> findOverlapping(std::uint64_t timestamp) const {
    const std::uint64_t since = timestamp - (params.inactiveOverlapExtraTime + params.inactiveAge);
    const auto counts = [&](const PlainReidTrack& track) {
      return track.isReported() || track.getUpdateTimestamp() >= since;
    };
    std::set<int> overlapping;
    for (const PlainReidTrack& a : tracks) {
      for (const PlainReidTrack& b : tracks) {
        if (&a == &b || !counts(a) || !counts(b) || a.getLabel() != b.getLabel()) continue;
        if (plainIou(a.getBox(), b.getBox()) > params.maxStoreFeaturesIou) {
          overlapping.insert(a.getId());
        }
      }
    }
    return overlapping;
  }

  std::pair<bool, float> costOf(const PlainReidTrack& track, const ObjectDetection& detection) const {
    if (!track.hasAdmissibleLabel(detection, labels) || !track.canAssociateKalman(detection)) return {false, 0.0F};
    const float iouDistance = track.computeIouDistance(detection.box);
    const bool isComparable = detection.feature && !track.gallery.empty();
    float featureDistance = isComparable ? std::numeric_limits<float>::infinity() : params.defaultCosineDistance;
    for (std::size_t i = 0; i < track.gallery.size() && isComparable; ++i) {
      const float distance = reid::cosineDistance(*detection.feature, track.gallery[i]);
      if (distance < featureDistance) featureDistance = distance;
    }
    const bool isNear =
        isComparable ? params.maxFeatureDistance >= featureDistance : params.maxIouDistance >= iouDistance;
    return {isNear, iouDistance * params.lambda + (1.0F - params.lambda) * featureDistance};
  }

  /// The quantile of all distances between two galleries.
  float distanceOf(const PlainReidTrack& a, const PlainReidTrack& b) const {
    std::vector<float> distances;
    for (const auto& one : a.gallery) {
      for (const auto& other : b.gallery) distances.push_back(reid::cosineDistance(one, other));
    }
    if (distances.empty()) return params.defaultCosineDistance;
    std::sort(distances.begin(), distances.end(), [](float x, float y) { return x < y || (x == x && y != y); });
    const auto last = static_cast<float>(distances.size() - 1);
    const float position = last * params.reviveQuantile;
    if (!(position > 0.0F)) return distances.front();
    return position < last ? distances[static_cast<std::size_t>(position)] : distances.back();
  }

  /// @return (identity of the absorbed track, identity of the revived one) of every revival.
  std::set<std::pair<int, int>> reviveLost(const std::vector<std::size_t>& lost, std::uint64_t timestamp) {
    std::vector<std::size_t> pending;
    for (std::size_t t = 0; t < tracks.size(); ++t) {
      const PlainReidTrack& track = tracks[t];
      if (track.getDetection() != nullptr && track.canGetConfidentId(timestamp)) pending.push_back(t);
    }
    std::vector<PlainPair> pairs;
    for (const std::size_t l : lost) {
      for (const std::size_t p : pending) {
        PlainReidTrack& old = tracks[l];
        const PlainReidTrack& young = tracks[p];
        if (old.getLabel() != young.getLabel()) continue;
        if (!old.canAssociateKalman(*young.getDetection())) continue;
        if (old.getUpdateTimestamp() >= young.getCreationTimestamp()) continue;
        old.registerReviveAttempt();
        const float distance = distanceOf(old, young);
        if (params.maxReviveFeatureDistance >= distance) pairs.push_back({0, distance, l, p});
      }
    }
    std::set<std::pair<int, int>> merged;
    std::set<std::size_t> used;
    for (const PlainPair& pair : choose(pairs)) {
      PlainReidTrack& old = tracks[pair.one];
      PlainReidTrack& young = tracks[pair.other];
      old.revive(young, timestamp);
      for (const auto& feature : young.gallery) old.store(feature);
      merged.emplace(young.getId(), old.getId());
      used.insert({pair.one, pair.other});
    }
    for (const std::size_t l : lost) {
      if (used.count(l) == 0) tracks[l].emptyUpdate(timestamp);
    }
    for (const std::size_t p : pending) {
      if (used.count(p) == 0) tracks[p].makeConfidentId(timestamp);
    }
    return merged;
  }

  reid::TrackerParams params;
};

class PlainHybridTracker final : public PlainTracker {
 public:
  explicit PlainHybridTracker(const Settings& settings)
      : others(settings.vanilla, settings.labels), people(settings.reid, settings.labels) {}

  TrackUpdateResult update(std::vector<ObjectDetection>& detections, unsigned long long timestamp) override {
    const auto middle =
        std::partition(detections.begin(), detections.end(), [](const auto& each) { return each.label == "human"; });
    std::vector<ObjectDetection> ofPeople(detections.begin(), middle), ofOthers(middle, detections.end());
    const TrackUpdateResult other = others.update(ofOthers, timestamp);
    const TrackUpdateResult human = people.update(ofPeople, timestamp);
    TrackUpdateResult result;
    for (const int id : other.removedIds) result.removedIds.insert(2 * id);
    for (const int id : human.removedIds) result.removedIds.insert(2 * id + 1);
    for (const auto& [young, old] : human.mergedIds) result.mergedIds.emplace(2 * young + 1, 2 * old + 1);
    return result;
  }
  std::vector<internal::DebugTrack> getDebugTracks() const override {
    std::vector<internal::DebugTrack> reports = others.getDebugTracks();
    for (internal::DebugTrack& report : reports) report.track.id *= 2;
    for (const internal::DebugTrack& report : people.getDebugTracks()) {
      reports.push_back(report);
      reports.back().track.id = 2 * report.track.id + 1;
    }
    std::sort(reports.begin(), reports.end(), [](auto& a, auto& b) { return a.track.id < b.track.id; });
    return reports;
  }
  void followCamera(MotionTrackerServer& server) override {
    others.followCamera(server);
    people.followCamera(server);
  }

 private:
  PlainLikelihoodTracker<vanilla::ObjectTrack> others;
  PlainReidTracker people;
};

/// The library's tracker and the plain one of a selector.
inline std::pair<std::unique_ptr<ObjectTracker>, std::unique_ptr<PlainTracker>> makeBoth(int selector,
                                                                                         const Settings& settings) {
  const auto& [vanillaParams, lowFpsParams, reidParams, labels] = settings;
  switch (selector) {
    case 0:
      return {std::make_unique<vanilla::VanillaTracker>(vanillaParams, labels),
              std::make_unique<PlainLikelihoodTracker<vanilla::ObjectTrack>>(vanillaParams, labels)};
    case 1:
      return {std::make_unique<reid::ReidTracker>(reidParams, labels),
              std::make_unique<PlainReidTracker>(reidParams, labels)};
    case 2:
      return {std::make_unique<hybrid::HybridTracker>(hybrid::TrackerParams{vanillaParams, reidParams}, labels),
              std::make_unique<PlainHybridTracker>(settings)};
    default:
      return {std::make_unique<vanillaLowFps::VanillaLowFpsTracker>(lowFpsParams, labels),
              std::make_unique<PlainLikelihoodTracker<vanillaLowFps::ObjectTrack>>(lowFpsParams, labels)};
  }
}

}  // namespace nivra::test
