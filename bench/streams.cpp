#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host.h"
#include "hostkit/formats/jsonLines.h"
#include "hostkit/tracking/tracking.h"
#include "hostkit/worlds/simulation.h"
#include "registration.h"
#include "scene.h"

namespace nivra::bench {

namespace {

using hostkit::Record;

constexpr int kPasses = 5;

/// The cheapest of several runs, ns.
template <class Work>
double timeOf(Work work) {
  double best = std::numeric_limits<double>::infinity();
  for (int pass = 0; pass < kPasses; ++pass) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
    best = std::min(best, elapsed.count());
  }
  return best;
}

std::vector<Record> crowdRecords(int featureLength) {
  CrowdSettings settings;
  settings.objects = 100;
  settings.peopleOnly = featureLength > 0;
  settings.featureLength = featureLength;
  std::vector<Record> records;
  for (const Detections& each : framesOf(settings, featureLength > 0 ? 50 : 1000)) {
    hostkit::Frame frame;
    frame.camera = "square";
    frame.timestamp = (records.size() + 1) * kFrameDuration;
    frame.detections = each;
    records.emplace_back(std::move(frame));
  }
  return records;
}

/// People and vehicles before a camera that pans and drops frames, in pixels.
std::vector<Record> simulatedRecords() {
  hostkit::SimulationOptions options;
  options.frames = 1000;
  options.people = 200;
  options.vehicles = 40;
  options.pan = 0.1;
  options.drop = 0.05;
  options.featureLength = 0;
  hostkit::Simulation simulation(options);
  std::vector<Record> records;
  for (Record record; simulation.read(record);) records.push_back(std::move(record));
  return records;
}

/// Records as a file of JSON Lines.
class Stream {
 public:
  explicit Stream(std::vector<Record> streamRecords)
      : records(std::move(streamRecords)), file(std::tmpfile(), &std::fclose) {
    std::ostringstream written;
    const auto writer = hostkit::kJsonLines.writeDetections({written}, {});
    for (const Record& each : records) {
      writer->write(each);
      if (const auto* const frame = std::get_if<hostkit::Frame>(&each)) detections += frame->detections.size();
    }
    text = written.str() + std::string(simdjson::SIMDJSON_PADDING, ' ');
    std::fwrite(text.data(), 1, text.size() - simdjson::SIMDJSON_PADDING, file.get());
    std::fflush(file.get());
  }

  double detectionCount() const { return static_cast<double>(detections); }

  /// All that the command does, from the bytes of a file to those of its answers.
  void track(const hostkit::TrackerRecipe& recipe) const {
    std::rewind(file.get());
    hostkit::TrackOptions options;
    options.inputs = {{"/dev/fd/" + std::to_string(fileno(file.get())), &hostkit::kJsonLines}};
    options.labels = {"human", "person", "car", "truck"};
    options.report = {hostkit::ReportedTracks::all, hostkit::ReportPolicy::kAlways, 0, hostkit::ReportedBoxes::smoothed,
                      std::nullopt};  // as of a stream
    hostkit::track(options, recipe, {std::cout, "/dev/null"}, std::cerr);
  }

  /// What simdjson takes to make documents of the lines, numbers included.
  void parse() const {
    simdjson::dom::parser parser;
    std::string_view rest(text.data(), text.size() - simdjson::SIMDJSON_PADDING);
    while (!rest.empty()) {
      const std::size_t size = rest.find('\n');
      benchmark::DoNotOptimize(parser.parse(rest.data(), size, false).error());
      rest.remove_prefix(size + 1);
    }
  }

  /// What the tracker's `update` takes, and nothing else, ns.
  double updateTime(const hostkit::TrackerRecipe& recipe) const {
    double best = std::numeric_limits<double>::infinity();
    for (int pass = 0; pass < kPasses; ++pass) {
      const auto tracker =
          recipe.make({{"human", {"human"}}, {"car", {"car"}}, {"truck", {"truck"}}}, kAspectRatio, nullptr);
      std::chrono::duration<double, std::nano> sum{0};
      std::vector<ObjectDetection> working;
      for (const Record& each : records) {
        const auto* const frame = std::get_if<hostkit::Frame>(&each);
        if (frame == nullptr) continue;
        working = frame->detections;
        const auto start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(tracker->update(working, *frame->timestamp));
        sum += std::chrono::steady_clock::now() - start;
      }
      best = std::min(best, sum.count());
    }
    return best;
  }

 private:
  std::vector<Record> records;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file;
  std::string text;
  std::size_t detections = 0;
};

void runStream(benchmark::State& state, const std::vector<Record>& records, const char* tracker) {
  const Stream stream(records);
  const hostkit::TrackerRecipe recipe(hostkit::parseTrackerChoice(tracker), {});
  double whole = 0.0;
  double parsing = 0.0;
  double updating = 0.0;
  for (auto iteration : state) {
    static_cast<void>(iteration);
    whole = timeOf([&] { stream.track(recipe); });
    parsing = timeOf([&] { stream.parse(); });
    updating = stream.updateTime(recipe);
    state.SetIterationTime(whole * 1e-9);
  }
  state.counters["ns_per_detection"] = whole / stream.detectionCount();
  state.counters["parsing_share"] = parsing / whole;
  state.counters["update_share"] = updating / whole;
  state.counters["ratio"] = whole / (parsing + updating);
}

}  // namespace

void registerStreams() {
  const auto add = [](const std::string& name, const std::vector<Record>& records, const char* tracker) {
    benchmark::RegisterBenchmark(("stream/" + name + "/" + tracker).c_str(),
                                 [records, tracker](benchmark::State& state) { runStream(state, records, tracker); })
        ->UseManualTime()
        ->Iterations(1);
  };
  for (const char* const tracker : {"vanilla", "reid", "hybrid", "lowfps"}) {
    add("crowd", crowdRecords(0), tracker);
    add("simulated", simulatedRecords(), tracker);
  }
  for (const char* const tracker : {"reid", "hybrid"}) add("features", crowdRecords(256), tracker);
}

}  // namespace nivra::bench
