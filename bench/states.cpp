#include <benchmark/benchmark.h>

#include <string>

#include "host.h"
#include "registration.h"
#include "scene.h"

namespace nivra::bench {

namespace {

constexpr std::size_t kObjects = 100;

/// A tracker of a steady crowd whose galleries, if there are features, are full.
Host followCrowd(int selector, int featureLength) {
  CrowdSettings settings;
  settings.objects = kObjects;
  settings.steady = true;
  settings.peopleOnly = featureLength > 0;
  settings.featureLength = featureLength;
  Host host(selector);
  Detections working;
  for (const Detections& frame : framesOf(settings, 400)) host.feed(frame, working);
  return host;
}

void runSaving(benchmark::State& state, int selector, int featureLength) {
  Host host = followCrowd(selector, featureLength);
  std::string bytes;
  for (auto _ : state) {
    host.getTracker().saveState(bytes);
    benchmark::DoNotOptimize(bytes.data());
  }
  const auto tracks = static_cast<double>(host.getTracker().getDebugTracks().size());
  state.counters["tracks"] = tracks;
  state.counters["bytes"] = static_cast<double>(bytes.size());
  const double ofGalleries =
      tracks * static_cast<double>(reid::FeatureGallery::kCapacity * sizeof(float)) * featureLength;
  state.counters["ratio"] = featureLength > 0 ? static_cast<double>(bytes.size()) / ofGalleries : 0.0;
}

void runRestoring(benchmark::State& state, int selector, int featureLength) {
  std::string bytes;
  followCrowd(selector, featureLength).getTracker().saveState(bytes);
  for (auto _ : state) benchmark::DoNotOptimize(restoreTracker(bytes, nullptr));
}

}  // namespace

void registerStates() {
  for (int selector = 0; selector < kSelectors; ++selector) {
    for (const int featureLength : {0, 128}) {
      if (featureLength > 0 && selector != 1) continue;
      const std::string name = std::string(trackerName(selector)) + "/" + std::to_string(featureLength);
      benchmark::RegisterBenchmark(("saveState/" + name).c_str(), runSaving, selector, featureLength)->MinTime(0.05);
      benchmark::RegisterBenchmark(("restoreTracker/" + name).c_str(), runRestoring, selector, featureLength)
          ->MinTime(0.05);
    }
  }
}

}  // namespace nivra::bench
