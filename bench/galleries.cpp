#include <benchmark/benchmark.h>

#include <Eigen/Core>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "host.h"
#include "registration.h"
#include "scene.h"

namespace nivra::bench {

namespace {

/// A person and a detection that the person's motion admits.
struct GatedPair {
  std::size_t person;
  std::size_t detection;
};

/// For each step of a pass, the pairs that pass the motion gate when every track takes the detections of its own
/// person.
std::vector<std::vector<GatedPair>> findGatedPairs(const Playback& playback, std::size_t people) {
  ParameterMap defaults;
  const reid::TrackerParams params = parseReidParameters(defaults, kAspectRatio);
  std::vector<reid::ObjectTrack> tracks;
  std::vector<std::size_t> trackOf(people, people);  // by person
  std::vector<std::size_t> personOf;                 // by track

  std::vector<std::vector<GatedPair>> pairs(playback.passLength());
  for (std::size_t step = 0; step < 2 * playback.passLength(); ++step) {
    const unsigned long long timestamp = (step + 1) * kFrameDuration;
    const Detections& frame = playback[step];
    for (reid::ObjectTrack& track : tracks) track.predict(timestamp);
    if (step >= playback.passLength()) {
      std::vector<GatedPair>& found = pairs[step - playback.passLength()];
      for (std::size_t track = 0; track < tracks.size(); ++track) {
        for (std::size_t detection = 0; detection < frame.size(); ++detection) {
          if (tracks[track].canAssociateKalman(frame[detection])) found.push_back({personOf[track], detection});
        }
      }
    }

    std::vector<bool> isSeen(tracks.size(), false);
    for (const ObjectDetection& detection : frame) {
      if (detection.id < 0) continue;
      const auto person = static_cast<std::size_t>(detection.id);
      if (trackOf[person] == people) {
        trackOf[person] = tracks.size();
        personOf.push_back(person);
        isSeen.push_back(true);
        tracks.emplace_back(detection, detection.id, timestamp, params);
      } else {
        isSeen[trackOf[person]] = true;
        tracks[trackOf[person]].update(detection, timestamp, false);
      }
    }
    for (std::size_t track = 0; track < tracks.size(); ++track) {
      if (!isSeen[track]) tracks[track].emptyUpdate(timestamp);
    }
  }
  return pairs;
}

/// The least that a comparison of appearances can do: one product of a full gallery's matrix with the feature for each
/// pair. One matrix per person, so that there is as much memory to walk through as in the tracker.
class Floor {
 public:
  Floor(std::size_t people, std::size_t featureLength) : length(featureLength), numbers(people * kSize * length) {
    Random random(3);
    for (float& number : numbers) number = random.between(-1.0F, 1.0F);
  }

  double measure(const Detections& frame, const std::vector<GatedPair>& pairs) {
    using Matrix = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    const auto columns = static_cast<Eigen::Index>(length);
    const auto start = std::chrono::steady_clock::now();
    for (const GatedPair& pair : pairs) {
      const Eigen::Map<const Matrix> gallery(numbers.data() + pair.person * kSize * length, kSize, columns);
      const Eigen::Map<const Eigen::VectorXf> feature(frame[pair.detection].feature->data(), columns);
      products.noalias() = gallery * feature;
      benchmark::DoNotOptimize(products.data());
      benchmark::ClobberMemory();
    }
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count();
  }

 private:
  static constexpr std::size_t kSize = reid::FeatureGallery::kCapacity;

  std::size_t length;
  std::vector<float> numbers;
  Eigen::VectorXf products{Eigen::VectorXf::Zero(kSize)};
};

/// Re-identification with full galleries against the floor, frame by frame. A second tracker sees the same frames
/// without features: what the first takes beyond it is what appearance costs.
void runGalleries(benchmark::State& state, std::size_t people, std::size_t featureLength) {
  CrowdSettings settings;
  settings.objects = people;
  settings.peopleOnly = true;
  settings.featureLength = static_cast<int>(featureLength);
  const std::vector<Detections> frames = framesOf(settings, 60);
  std::vector<Detections> plainFrames = frames;
  for (Detections& frame : plainFrames) {
    for (ObjectDetection& detection : frame) detection.feature.reset();
  }
  const Playback playback(frames);
  const Playback plainPlayback(plainFrames);
  const std::vector<std::vector<GatedPair>> pairs = findGatedPairs(playback, people);

  Host host(1);
  Host plainHost(1);
  Floor floor(people, featureLength);
  Detections working;
  Detections plainWorking;
  struct Times {
    explicit Times(std::size_t steps) : withFeatures(steps), plain(steps), least(steps) {}
    StepTimes withFeatures;
    StepTimes plain;
    StepTimes least;
  };
  const auto pass = [&](Times& times) {
    Cost total;
    for (std::size_t step = 0; step < playback.passLength(); ++step) {
      const Cost cost = host.feed(playback[step], working);
      total += cost;
      times.withFeatures.add(step, cost.nanoseconds);
      times.plain.add(step, plainHost.feed(plainPlayback[step], plainWorking).nanoseconds);
      // The floor finds its features as the tracker found them, just written.
      working = playback[step];
      times.least.add(step, floor.measure(working, pairs[step]));
    }
    return total;
  };
  // Features of people who overlap are not stored, so that a gallery takes more than 50 frames to fill.
  Times ignored(playback.passLength());
  for (int i = 0; i < 2; ++i) pass(ignored);
  Times times(playback.passLength());
  for (auto _ : state) state.SetIterationTime(pass(times).nanoseconds * 1e-9);
  std::size_t pairCount = 0;
  for (const std::vector<GatedPair>& frame : pairs) pairCount += frame.size();
  state.counters["pairs_per_frame"] = static_cast<double>(pairCount) / static_cast<double>(playback.passLength());
  state.counters["ns_per_frame"] = times.withFeatures.mean();
  state.counters["floor_ns_per_frame"] = times.least.mean();
  state.counters["ratio"] = times.withFeatures.sum() / times.least.sum();
  state.counters["appearance_ratio"] = (times.withFeatures.sum() - times.plain.sum()) / times.least.sum();
}

}  // namespace

void registerGalleries() {
  for (const std::size_t people : {10U, 30U, 100U, 300U}) {
    for (const std::size_t featureLength : {128U, 256U, 512U}) {
      const std::string name = "galleries/" + std::to_string(people) + "/" + std::to_string(featureLength);
      benchmark::RegisterBenchmark(name.c_str(), runGalleries, people, featureLength)
          ->UseManualTime()
          ->Iterations(people < 100 ? 12 : 4);
    }
  }
}

}  // namespace nivra::bench
