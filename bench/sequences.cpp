#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host.h"
#include "hostkit/formats/motChallenge.h"
#include "registration.h"
#include "scene.h"

namespace nivra::bench {

namespace {

namespace fs = std::filesystem;

struct Sequence {
  std::string name;
  unsigned long long frameDuration = 0;  // ns
  std::vector<Detections> frames;
};

/// @return Nothing, after a word on standard error, for a directory that holds no sequence in the MOTChallenge layout.
std::optional<Sequence> readSequence(const fs::path& directory) {
  try {
    const hostkit::Sequence read = hostkit::readMotChallenge(directory.string(), {});
    Sequence sequence;
    sequence.name = directory.filename().string();
    sequence.frameDuration = static_cast<unsigned long long>(1e9 / read.frameRate);
    sequence.frames.resize(static_cast<std::size_t>(read.frameCount));
    for (const hostkit::FrameDetection& each : read.detections) {
      sequence.frames[static_cast<std::size_t>(each.frame) - 1].push_back(each.detection);
    }
    return sequence;
  } catch (const std::runtime_error& problem) {
    std::cerr << directory.filename().string() << ": " << problem.what() << '\n';
    return std::nullopt;
  }
}

/// Each iteration plays the sequence once, to a new tracker.
void runSequence(benchmark::State& state, int selector, const std::shared_ptr<const Sequence>& sequence) {
  Detections working;
  StepTimes times(sequence->frames.size());
  std::size_t detections = 0;
  for (const Detections& frame : sequence->frames) detections += frame.size();
  for (auto _ : state) {
    Host host(selector, sequence->frameDuration);
    Cost cost;
    for (std::size_t step = 0; step < sequence->frames.size(); ++step) {
      const Cost frameCost = host.feed(sequence->frames[step], working);
      times.add(step, frameCost.nanoseconds);
      cost += frameCost;
    }
    state.SetIterationTime(cost.nanoseconds * 1e-9);
  }
  state.counters["us_per_frame"] = times.mean() * 1e-3;
  state.counters["detections_per_frame"] =
      static_cast<double>(detections) / static_cast<double>(sequence->frames.size());
}

}  // namespace

bool registerSequences() {
  const char* data = std::getenv("NIVRA_BENCH_DATA");
  if (data == nullptr || *data == '\0') return true;
  std::error_code error;
  std::vector<fs::path> directories;
  for (const fs::directory_entry& entry : fs::directory_iterator(data, error)) {
    if (entry.is_directory()) directories.push_back(entry.path());
  }
  std::sort(directories.begin(), directories.end());
  bool hasSequence = false;
  for (const fs::path& directory : directories) {
    std::optional<Sequence> sequence = readSequence(directory);
    if (!sequence) continue;
    hasSequence = true;
    const auto shared = std::make_shared<const Sequence>(std::move(*sequence));
    for (int selector = 0; selector < kSelectors; ++selector) {
      benchmark::RegisterBenchmark(("sequence/" + shared->name + "/" + trackerName(selector)).c_str(), runSequence,
                                   selector, shared)
          ->UseManualTime()
          ->Iterations(12);
    }
  }
  if (!hasSequence) std::cerr << "NIVRA_BENCH_DATA names a directory without sequences\n";
  return hasSequence;
}

}  // namespace nivra::bench
