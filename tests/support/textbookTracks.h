#pragma once

#include <algorithm>
#include <deque>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/denseKalman.h"

/// The tracks as their equations stand, in double precision and made of public records alone, so that no fault of the
/// library's tracks, filters and galleries can be theirs as well.
namespace nivra::test {

class TextbookAttributes {
 public:
  explicit TextbookAttributes(const std::vector<AttributeClassification>& first) : reported(first) {
    for (const auto& [type, value, score] : first) scores[{type, value}] = score;
  }

  void update(const std::vector<AttributeClassification>& seen, double gain) {
    std::set<std::pair<int, int>> pairs;
    std::set<int> types;
    for (const auto& [type, value, score] : seen) {
      scores[{type, value}] += (score - scores[{type, value}]) * gain;
      pairs.emplace(type, value);
      types.insert(type);
    }
    reported.clear();
    for (auto& [pair, score] : scores) {
      if (pairs.count(pair) == 0) score *= 1 - gain;
      if (types.count(pair.first) != 0) reported.push_back({pair.first, pair.second, static_cast<float>(score)});
    }
    std::stable_sort(reported.begin(), reported.end(), [](const auto& a, const auto& b) {
      return std::pair(a.attributeType, -a.score) < std::pair(b.attributeType, -b.score);
    });
  }
  void emptyUpdate(double factor) {
    for (auto& [pair, score] : scores) score *= factor;
    for (auto& attribute : reported) attribute.score = static_cast<float>(attribute.score * factor);
  }
  const std::vector<AttributeClassification>& report() const { return reported; }

 private:
  std::map<std::pair<int, int>, double> scores;
  std::vector<AttributeClassification> reported;
};

/// What all tracks have in common. `Filter` is the textbook form of their box filter.
template <class Filter>
struct TextbookTrack {
  template <class Params>
  TextbookTrack(const ObjectDetection& detection, int trackId, std::uint64_t now, const Params& params)
      : id(trackId),
        lastDetectionId(detection.id),
        score(detection.score),
        absorption(params.scoreAbsorption),
        label(detection.label),
        predictedTo(now),
        filter(detection.box, params.kalmanParams),
        attributes(detection.attributes) {}

  /// False if that is refused.
  bool advance(std::uint64_t now) {
    if (now <= predictedTo) return false;
    interval = static_cast<double>(now - predictedTo) / 1e9;
    predictedTo = now;
    lastDetectionId = -1;
    return true;
  }
  void fade() {
    score *= 1 - absorption;
    attributes.emptyUpdate(1 - absorption);
    filter.emptyUpdate();
  }
  internal::DebugTrack beginReport() const {
    const auto v = filter.x.template cast<float>();
    const Eigen::Vector4f e = filter.edges().cwiseMax(-1).cwiseMin(1).template cast<float>();
    internal::DebugTrack report;
    report.track = {id, {e(0), e(1), e(2), e(3)}, v(1), v(3), static_cast<float>(score), label, {}, {}, false};
    report.track.attributes = attributes.report();
    report.lastDetectionId = lastDetectionId;
    return report;
  }

  int id, lastDetectionId;
  double score, absorption;
  std::string label;
  std::uint64_t predictedTo;
  double interval = 0;
  Filter filter;
  TextbookAttributes attributes;
};

/// The vanilla and, if it adds up vehicles, the low-frame-rate track.
struct TextbookLikelihoodTrack : TextbookTrack<DenseAxes> {
  TextbookLikelihoodTrack(const ObjectDetection& detection, int trackId, std::uint64_t now,
                          const vanilla::TrackerParams& trackerParams, bool addsVehicles)
      : TextbookTrack(detection, trackId, now, trackerParams), params(trackerParams), addsUpVehicles(addsVehicles) {
    for (const Classification& each : detection.classifications) classes[each.label] = each.score;
    scaleNoise(detection);
  }

  /// Factors on the process noise, by the speed.
  DenseKalman::Four noiseFactors(bool useVelocityNoise) const {
    const double x = useVelocityNoise && std::abs(filter.x(1)) > 0.3 ? 6 : 1;
    const double y = useVelocityNoise && std::abs(filter.x(3)) > 0.2 ? 6 : 1;
    return {x, y, y, y};
  }
  void predict(std::uint64_t now, const DenseKalman::Four& factors) {
    if (advance(now)) filter.predict(interval, factors);
  }
  void emptyUpdate() {
    smooth(std::log(0.7));
    for (auto& entry : classes) entry.second *= 1 - absorption;
    fade();
  }
  void update(const ObjectDetection& detection, std::uint64_t now) {
    if (now != predictedTo) return;
    smooth(filter.logLikelihood(detection.box));
    if (likelihood > params.confidentLikelihoodThreshold) isTentative = false;
    lastDetectionId = detection.id;
    attributes.update(detection.attributes, absorption);
    for (const Classification& each : detection.classifications) {
      const auto [place, isNew] = classes.emplace(each.label, each.score);
      if (!isNew) place->second += (each.score - place->second) * absorption;
    }
    const auto order = bestFirst();
    if (!order.empty()) std::tie(label, score) = order[0];
    const std::set<std::string> vehicles = {"bus", "car", "truck"};
    if (addsUpVehicles && order.size() > 1 && vehicles.count(label) + vehicles.count(order[1].first) == 2 &&
        score < 65) {
      score += order[1].second / 3;
    }
    scaleNoise(detection);
    filter.update(detection.box);
  }
  bool isConfident() const { return likelihood >= params.confidentLikelihoodThreshold; }
  bool isExpired() const { return likelihood < params.expirationLikelihoodThreshold; }

  internal::DebugTrack report() const {
    internal::DebugTrack report = beginReport();
    for (const auto& [name, value] : bestFirst()) {
      report.track.classifications.push_back({name, static_cast<float>(value)});
    }
    report.track.confident = isConfident();
    report.state = isConfident() ? 2 : 1;
    report.maxPositionDifferenceX = static_cast<float>(filter.gateRadius(0));
    report.maxPositionDifferenceY = static_cast<float>(filter.gateRadius(1));
    return report;
  }

  void smooth(double logLikelihood) { likelihood += interval / 0.45454544 * (logLikelihood - likelihood); }
  void scaleNoise(const ObjectDetection& detection) {
    if (detection.objectness <= 0 || params.kalmanParams.objectnessClasses.count(label) == 0) return;
    if (filter.axes[0].objectnessParams.classSigmoids.count(detection.label) == 0) return;
    filter.setObservationNoise(detection.objectness / 100.0, detection.score / 100.0, detection.label);
  }
  /// Equal scores by label.
  std::vector<std::pair<std::string, double>> bestFirst() const {
    std::vector<std::pair<std::string, double>> order(classes.begin(), classes.end());
    std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    return order;
  }

  vanilla::TrackerParams params;
  bool addsUpVehicles;
  std::map<std::string, double> classes;
  double likelihood = 0;
  bool isTentative = true;
};

struct TextbookReidTrack : TextbookTrack<DenseEdges> {
  using State = reid::TrackState;

  TextbookReidTrack(const ObjectDetection& first, int trackId, std::uint64_t now, const reid::TrackerParams& p)
      : TextbookTrack(first, trackId, now, p), params(p), createdAt(now), updatedAt(now), detection(&first) {
    if (first.feature) store(*first.feature);
  }

  void predict(std::uint64_t now) {
    if (!advance(now)) return;
    filter.predict(interval);
    detection = nullptr;
  }
  void update(const ObjectDetection& taken, std::uint64_t now, bool storesFeature) {
    if (now != predictedTo) return;
    score += (taken.score - score) * absorption;
    attributes.update(taken.attributes, absorption);
    filter.update(taken.box);
    if (storesFeature && taken.feature) store(*taken.feature);
    if (state == State::Tentative && now - createdAt >= params.minTimeBeforeConfident) {
      state = State::Confident;
    } else if (state == State::Inactive) {
      state = State::ConfidentId;
      reviveAttempts = 0;
    }
    updatedAt = now;
    detection = &taken;
    lastDetectionId = taken.id;
  }
  void emptyUpdate(std::uint64_t now) {
    fade();
    const std::uint64_t age = now - updatedAt;
    const bool isTriedOut = reviveAttempts >= params.maxReviveAttempts && age > params.maxDynamicReviveAge;
    if (state == State::Inactive
            ? isTriedOut || age > params.maxReviveAge
            : age > params.expiryAge || (state == State::Tentative && age > params.maxTentativeAge) ||
                  (state == State::Confident && age > confidentExpiryAge())) {
      state = State::Expired;
    } else if (state == State::ConfidentId && age > params.inactiveAge) {
      state = State::Inactive;
    }
  }
  std::uint64_t confidentExpiryAge() const {
    return updatedAt - createdAt < params.minTimeBeforeConfidentId ? params.maxConfidentAge : params.expiryAge;
  }
  bool canGetConfidentId(std::uint64_t now) const {
    return updatedAt == now && gallery.size() >= params.minConfidentFeatureVectors &&
           now - createdAt >= params.minTimeBeforeConfidentId && state == State::Confident;
  }
  void revive(TextbookReidTrack& other, std::uint64_t now) {
    other.state = State::Expired;
    update(*other.detection, now, false);
    filter = other.filter;
    for (const auto& feature : other.gallery) store(feature);
  }

  void store(const std::vector<float>& feature) {
    gallery.push_back(feature);
    if (gallery.size() > 50) gallery.pop_front();
  }
  static double distance(const std::vector<float>& a, const std::vector<float>& b) {
    const auto dot = [](const auto& x, const auto& y) {
      return std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
    };
    return 1 - dot(a, b) / std::sqrt(dot(a, a) * dot(b, b));
  }
  /// The quantile of the distances of two galleries, each of which holds something.
  static double distance(const std::deque<std::vector<float>>& a, const std::deque<std::vector<float>>& b,
                         float quantile) {
    std::vector<double> distances;
    for (const auto& one : a) {
      for (const auto& other : b) distances.push_back(distance(one, other));
    }
    std::sort(distances.begin(), distances.end());
    return distances[static_cast<std::size_t>(static_cast<float>(distances.size() - 1) * quantile)];
  }

  internal::DebugTrack report() const {
    internal::DebugTrack report = beginReport();
    report.track.classifications = {{label, static_cast<float>(score)}};
    report.track.confident = state == State::Confident || state == State::ConfidentId;
    report.state = static_cast<int>(state);
    return report;
  }

  reid::TrackerParams params;
  std::uint64_t createdAt, updatedAt, reviveAttempts = 0;
  const ObjectDetection* detection;
  State state = State::Tentative;
  std::deque<std::vector<float>> gallery;
};

}  // namespace nivra::test
