#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "allocations.h"
#include "host.h"
#include "registration.h"
#include "scene.h"

namespace nivra::bench {

namespace {

constexpr std::size_t kWarmUpPasses = 2;

double toDouble(std::size_t count) { return static_cast<double>(count); }

/// One pass of a crowd through one tracker.
Cost play(const Playback& playback, Host& host, Detections& working, StepTimes& times) {
  Cost total;
  for (std::size_t step = 0; step < playback.passLength(); ++step) {
    const Cost cost = host.feed(playback[step], working);
    times.add(step, cost.nanoseconds);
    total += cost;
  }
  return total;
}

void warmUp(const Playback& playback, Host& host, Detections& working) {
  StepTimes ignored(playback.passLength());
  for (std::size_t pass = 0; pass < kWarmUpPasses; ++pass) play(playback, host, working, ignored);
}

std::set<std::int32_t> identities(const ObjectTracker& tracker) {
  std::set<std::int32_t> ids;
  for (const internal::DebugTrack& track : tracker.getDebugTracks()) ids.insert(track.track.id);
  return ids;
}

/// How many pairs a frame offers to the vanilla tracker's choice, on average. Takes a tracker through the frames by its
/// public steps.
double countVanillaCandidates(const Playback& playback) {
  ParameterMap defaults;
  vanilla::VanillaTracker tracker(parseVanillaParameters(defaults, kAspectRatio), labelAssociations());
  std::size_t candidates = 0;
  for (std::size_t step = 0; step < 2 * playback.passLength(); ++step) {
    const unsigned long long timestamp = (step + 1) * kFrameDuration;
    const Detections frame = playback[step];
    tracker.predict(timestamp);
    if (step >= playback.passLength()) candidates += tracker.associate(frame).size();
    tracker.updateTracks(frame, timestamp);
    tracker.pruneExpiredTracks();
  }
  return toDouble(candidates) / toDouble(playback.passLength());
}

/// Each iteration is a pass.
void runPasses(benchmark::State& state, int selector, const CrowdSettings& settings) {
  const std::vector<Detections> frames = framesOf(settings);
  const Playback playback(frames);
  Detections working;
  auto host = std::make_unique<Host>(selector);
  warmUp(playback, *host, working);

  const std::set<std::int32_t> idsBefore = identities(host->getTracker());
  StepTimes times(playback.passLength());
  std::size_t allocationCount = 0;
  for (auto _ : state) {
    const Cost cost = play(playback, *host, working, times);
    allocationCount += cost.allocations;
    state.SetIterationTime(cost.nanoseconds * 1e-9);
  }
  const std::set<std::int32_t> ids = identities(host->getTracker());
  const auto isNew = [&](std::int32_t id) { return idsBefore.count(id) == 0; };
  const std::size_t liveWithTracker = allocations().liveBytes;
  host.reset();
  const std::size_t trackerBytes = liveWithTracker - allocations().liveBytes;

  state.counters["ns_per_frame"] = times.mean();
  state.counters["ns_per_track"] = times.mean() / toDouble(settings.objects);
  state.counters["allocations_per_frame"] =
      toDouble(allocationCount) / toDouble(playback.passLength()) / static_cast<double>(state.iterations());
  state.counters["tracks"] = toDouble(ids.size());
  state.counters["new_tracks"] = static_cast<double>(std::count_if(ids.begin(), ids.end(), isNew));
  state.counters["bytes_per_track"] = toDouble(trackerBytes) / toDouble(ids.size());
  if (selector == 0) state.counters["candidates_per_frame"] = countVanillaCandidates(playback);
}

/// Each iteration is a new tracker that sees the frames once.
void runOnce(benchmark::State& state, int selector) {
  CrowdSettings settings;
  settings.objects = 100;
  const std::vector<Detections> frames = framesOf(settings);
  Detections working;
  StepTimes times(frames.size());
  for (auto _ : state) {
    Host host(selector);
    double nanoseconds = 0.0;
    for (std::size_t step = 0; step < frames.size(); ++step) {
      const double its = host.feed(frames[step], working).nanoseconds;
      times.add(step, its);
      nanoseconds += its;
    }
    state.SetIterationTime(nanoseconds * 1e-9);
  }
  state.counters["ns_per_track"] = times.mean() / toDouble(settings.objects);
}

/// Detections of one label that all overlap, of any objectness.
void runInbetween(benchmark::State& state) {
  Random random(9);
  Detections frame;
  for (std::int32_t i = 0; i < 400; ++i) {
    const Point center = {random.between(-0.05F, 0.05F), random.between(-0.05F, 0.05F)};
    frame.push_back(hostkit::detectionAt(center, 0.2F, 0.4F, true, i));
    frame.back().objectness = random.between(0.0F, 100.0F);
  }
  ParameterMap defaults;
  const reid::InBetweenParams params = parseReidParameters(defaults, kAspectRatio).inBetween;
  for (auto _ : state) {
    reid::markInbetweenDetections(frame, params, kAspectRatio * kAspectRatio);
    benchmark::DoNotOptimize(frame.data());
  }
}

/// The hybrid tracker on whole frames against its two parts on what it hands to each.
void runHybridAgainstParts(benchmark::State& state, const CrowdSettings& settings) {
  const std::vector<Detections> frames = framesOf(settings);
  std::vector<Detections> people;
  std::vector<Detections> others;
  for (const Detections& frame : frames) {
    people.emplace_back();
    others.emplace_back();
    for (const ObjectDetection& detection : frame) {
      (detection.label == "human" ? people : others).back().push_back(detection);
    }
  }
  const Playback whole(frames);
  const Playback peoplePart(people);
  const Playback otherPart(others);

  Host vanilla(0);
  Host reid(1);
  Host hybrid(2);
  Detections workingWhole;
  Detections workingPeople;
  Detections workingOthers;
  StepTimes hybridTimes(whole.passLength());
  StepTimes partsTimes(whole.passLength());
  const auto pass = [&](StepTimes& hybridSteps, StepTimes& partsSteps) {
    Cost hybridCost;
    for (std::size_t step = 0; step < whole.passLength(); ++step) {
      const auto feedHybrid = [&] {
        const Cost cost = hybrid.feed(whole[step], workingWhole);
        hybridSteps.add(step, cost.nanoseconds);
        hybridCost += cost;
      };
      // Whoever comes first finds the caches as the other left them.
      if (step % 2 == 0) feedHybrid();
      Cost parts = vanilla.feed(otherPart[step], workingOthers);
      parts += reid.feed(peoplePart[step], workingPeople);
      partsSteps.add(step, parts.nanoseconds);
      if (step % 2 != 0) feedHybrid();
    }
    return hybridCost;
  };
  StepTimes ignored(whole.passLength());
  for (std::size_t i = 0; i < kWarmUpPasses; ++i) pass(ignored, ignored);
  for (auto _ : state) state.SetIterationTime(pass(hybridTimes, partsTimes).nanoseconds * 1e-9);
  state.counters["ratio"] = hybridTimes.sum() / partsTimes.sum();
}

/// A thousand trackers in turn, each with caches full of the others, against one that has them for itself.
void runThousandInTurn(benchmark::State& state, int selector) {
  constexpr std::size_t kTrackers = 1000;
  CrowdSettings settings;
  settings.objects = 20;
  const std::vector<Detections> frames = framesOf(settings);
  const Playback playback(frames);

  Detections working;
  Host lonely(selector);
  std::vector<Host> crowd;
  for (std::size_t i = 0; i < kTrackers; ++i) crowd.emplace_back(selector);
  std::size_t round = 0;
  // The crowd's trackers stand at different places of the same film, so that a round shows about the frames that the
  // lonely tracker sees in its thousand steps.
  const auto playRound = [&] {
    std::pair<Cost, Cost> oneAndAll;
    for (std::size_t i = 0; i < kTrackers; ++i) {
      oneAndAll.first += lonely.feed(playback[round * kTrackers + i], working);
    }
    for (std::size_t i = 0; i < kTrackers; ++i) oneAndAll.second += crowd[i].feed(playback[round + i], working);
    ++round;
    return oneAndAll;
  };
  // Four seconds, enough for every life stage that a track in sight goes through.
  for (std::size_t i = 0; i < 100; ++i) playRound();
  StepTimes one(1);
  StepTimes all(1);
  for (auto _ : state) {
    const auto [oneCost, allCost] = playRound();
    one.add(0, oneCost.nanoseconds);
    all.add(0, allCost.nanoseconds);
    state.SetIterationTime(allCost.nanoseconds * 1e-9);
  }
  state.counters["ratio"] = all.sum() / one.sum();
  state.counters["ns_per_frame"] = all.sum() / toDouble(kTrackers);
  // These two should be about equal: the comparison is between caches, not between numbers of tracks.
  std::size_t tracks = 0;
  for (Host& host : crowd) tracks += host.getTracker().getDebugTracks().size();
  state.counters["tracks"] = toDouble(tracks) / toDouble(kTrackers);
  state.counters["tracks_alone"] = toDouble(lonely.getTracker().getDebugTracks().size());
}

template <class Report>
void runReports(benchmark::State& state, int selector, Report report) {
  CrowdSettings settings;
  settings.objects = 100;
  const std::vector<Detections> frames = framesOf(settings);
  Host host(selector);
  Detections working;
  warmUp(Playback(frames), host, working);
  for (auto _ : state) benchmark::DoNotOptimize(report(host.getTracker()));
  state.counters["tracks"] = toDouble(report(host.getTracker()).size());
}

}  // namespace

void registerTrackers() {
  for (int selector = 0; selector < kSelectors; ++selector) {
    const std::string name = trackerName(selector);
    for (const std::size_t objects : {10U, 30U, 100U, 300U, 1000U, 2000U}) {
      CrowdSettings settings;
      settings.objects = objects;
      benchmark::RegisterBenchmark(("crowd/" + name + "/" + std::to_string(objects)).c_str(), runPasses, selector,
                                   settings)
          ->UseManualTime()
          ->Iterations(std::clamp(2000 / static_cast<int>(objects), 4, 20));
    }
    for (const int featureLength : {0, 128}) {
      if (featureLength > 0 && selector != 1 && selector != 2) continue;
      CrowdSettings settings;
      settings.objects = 100;
      settings.steady = true;
      settings.featureLength = featureLength;
      benchmark::RegisterBenchmark(("steady/" + name + "/" + std::to_string(featureLength)).c_str(), runPasses,
                                   selector, settings)
          ->UseManualTime()
          ->Iterations(3);
    }
    benchmark::RegisterBenchmark(("thousandInTurn/" + name).c_str(), runThousandInTurn, selector)
        ->UseManualTime()
        ->Iterations(40);
    benchmark::RegisterBenchmark(("getTracks/" + name).c_str(), [selector](benchmark::State& state) {
      runReports(state, selector, [](const ObjectTracker& tracker) { return tracker.getTracks(); });
    })->MinTime(0.05);
    benchmark::RegisterBenchmark(("getTracks again/" + name).c_str(), [selector, reports = std::vector<TrackReport>()](
                                                                          benchmark::State& state) mutable {
      runReports(
          state, selector, [&](const ObjectTracker& tracker) -> const auto& {
            tracker.getTracks(reports);
            return reports;
          });
    })->MinTime(0.05);
    benchmark::RegisterBenchmark(("once/" + name).c_str(), runOnce, selector)->UseManualTime()->Iterations(20);
    benchmark::RegisterBenchmark(("getDebugTracks/" + name).c_str(), [selector](benchmark::State& state) {
      runReports(state, selector, [](const ObjectTracker& tracker) { return tracker.getDebugTracks(); });
    })->MinTime(0.05);
  }
  benchmark::RegisterBenchmark("inBetween", runInbetween)->MinTime(0.05);
  for (const std::size_t objects : {30U, 100U, 300U}) {
    CrowdSettings settings;
    settings.objects = objects;
    benchmark::RegisterBenchmark(("hybridAgainstParts/" + std::to_string(objects)).c_str(), runHybridAgainstParts,
                                 settings)
        ->UseManualTime()
        ->Iterations(std::clamp(2000 / static_cast<int>(objects), 8, 20));
  }
}

}  // namespace nivra::bench
