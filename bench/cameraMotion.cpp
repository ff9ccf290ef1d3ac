#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <vector>

#include "allocations.h"
#include "host.h"
#include "registration.h"
#include "scene.h"

namespace nivra::bench {

namespace {

/// The estimator before the vanilla tracker's `update`, which it is compared with, frame by frame in turn.
void runEstimator(benchmark::State& state, std::size_t objects) {
  CrowdSettings settings;
  settings.objects = objects;
  std::vector<Detections> frames = framesOf(settings);
  for (Detections& frame : frames) {
    for (std::size_t i = 0; i < frame.size(); ++i) frame[i].id = static_cast<std::int32_t>(i);
  }
  const Playback playback(frames);
  Host host(0);
  Detections working;
  CameraMotionEstimator estimator;
  std::vector<TrackReport> reports;
  unsigned long long timestamp = 0;
  std::size_t allocationCount = 0;
  const auto estimate = [&](const Detections& frame) {
    timestamp += kFrameDuration;
    host.getTracker().getTracks(reports);
    working = frame;
    const std::size_t callsBefore = allocations().calls;
    const auto start = std::chrono::steady_clock::now();
    estimator.follow(reports);
    benchmark::DoNotOptimize(estimator.estimate(working, timestamp));
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
    allocationCount += allocations().calls - callsBefore;
    return elapsed.count();
  };
  const auto pass = [&](StepTimes& estimatorTimes, StepTimes& updateTimes) {
    double nanoseconds = 0.0;
    for (std::size_t step = 0; step < playback.passLength(); ++step) {
      const double its = estimate(playback[step]);
      estimatorTimes.add(step, its);
      updateTimes.add(step, host.feed(playback[step], working).nanoseconds);
      nanoseconds += its;
    }
    return nanoseconds;
  };
  StepTimes ignored(playback.passLength());
  for (int i = 0; i < 2; ++i) pass(ignored, ignored);
  allocationCount = 0;
  StepTimes estimatorTimes(playback.passLength());
  StepTimes updateTimes(playback.passLength());
  for (auto _ : state) state.SetIterationTime(pass(estimatorTimes, updateTimes) * 1e-9);
  state.counters["ns_per_frame"] = estimatorTimes.mean();
  state.counters["ratio"] = estimatorTimes.sum() / updateTimes.sum();
  state.counters["allocations_per_frame"] = static_cast<double>(allocationCount);
}

}  // namespace

void registerCameraMotion() {
  for (const std::size_t objects : {10U, 100U, 1000U}) {
    benchmark::RegisterBenchmark(("cameraMotion/" + std::to_string(objects)).c_str(), runEstimator, objects)
        ->UseManualTime()
        ->Iterations(objects < 1000 ? 20 : 4);
  }
}

}  // namespace nivra::bench
