#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "host.h"
#include "registration.h"
#include "world.h"

namespace nivra::bench {

namespace {

namespace fs = std::filesystem;

struct Sequence {
  std::string name;
  unsigned long long frameDuration = 0;  // ns
  std::vector<Frame> frames;
};

/// The value of a key of seqinfo.ini; 0 if there is none.
double readSetting(const fs::path& file, const std::string& key) {
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(key + "=", 0) == 0) return std::atof(line.c_str() + key.size() + 1);
  }
  return 0.0;
}

/// @return Nothing, after a word on standard error, for a directory that holds no sequence in the MOTChallenge layout.
std::optional<Sequence> readSequence(const fs::path& directory) {
  const auto fail = [&](const std::string& problem) {
    std::cerr << directory.filename().string() << ": " << problem << '\n';
    return std::nullopt;
  };
  const fs::path info = directory / "seqinfo.ini";
  const double frameRate = readSetting(info, "frameRate");
  const double width = readSetting(info, "imWidth");
  const double height = readSetting(info, "imHeight");
  if (frameRate <= 0.0 || width <= 0.0 || height <= 0.0) return fail("no frame rate and picture size in seqinfo.ini");

  Sequence sequence;
  sequence.name = directory.filename().string();
  sequence.frameDuration = static_cast<unsigned long long>(1e9 / frameRate);
  sequence.frames.resize(static_cast<std::size_t>(std::max(0.0, readSetting(info, "seqLength"))));
  const fs::path nested = directory / "det" / "det.txt";
  std::ifstream in(fs::exists(nested) ? nested : directory / "det.txt");
  std::int32_t id = 0;
  for (std::string line; std::getline(in, line);) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream fields(line);
    std::size_t frame = 0;
    double unused = 0.0;
    double left = 0.0;
    double top = 0.0;
    double boxWidth = 0.0;
    double boxHeight = 0.0;
    double confidence = 0.0;
    if (!(fields >> frame >> unused >> left >> top >> boxWidth >> boxHeight >> confidence) || frame == 0) {
      return fail("a line of det.txt that is no detection: " + line);
    }
    const auto fraction = [](double pixels, double size) { return static_cast<float>(2.0 * pixels / size); };
    const Point center = {fraction(left + boxWidth / 2, width) - 1.0F, 1.0F - fraction(top + boxHeight / 2, height)};
    ObjectDetection detection =
        makeDetection(center, fraction(boxWidth, width), fraction(boxHeight, height), true, id++);
    detection.score = static_cast<float>(confidence * 100.0);
    detection.classifications[0].score = detection.score;
    if (frame > sequence.frames.size()) sequence.frames.resize(frame);
    sequence.frames[frame - 1].push_back(std::move(detection));
  }
  if (id == 0) return fail("no detections");
  return sequence;
}

/// Each iteration plays the sequence once, to a new tracker.
void runSequence(benchmark::State& state, int selector, const std::shared_ptr<const Sequence>& sequence) {
  Frame working;
  StepTimes times(sequence->frames.size());
  std::size_t detections = 0;
  for (const Frame& frame : sequence->frames) detections += frame.size();
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
