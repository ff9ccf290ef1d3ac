#include <benchmark/benchmark.h>

#include <array>
#include <vector>

#include "registration.h"
#include "scene.h"

namespace nivra::bench {

namespace {

constexpr float kSeconds = 0.04F;
constexpr std::size_t kBoxes = 64;  // a power of two, so that going round costs nothing

/// Where a box stands that moves a little around its place.
std::array<Box, kBoxes> makeBoxes() {
  Random random(5);
  std::array<Box, kBoxes> boxes{};
  for (Box& box : boxes) {
    const Point center = {random.between(-0.01F, 0.01F), random.between(-0.01F, 0.01F)};
    box = hostkit::detectionAt(center, 0.1F, 0.2F, true, 0).box;
  }
  return boxes;
}

KalmanBoxParams vanillaFilterParams() {
  ParameterMap defaults;
  return parseVanillaParameters(defaults, kAspectRatio).kalmanParams;
}

KalmanBoxParams4D reidFilterParams() {
  ParameterMap defaults;
  return parseReidParameters(defaults, kAspectRatio).kalmanParams;
}

// Prediction and update are timed in turn: alone, the one would let the variances grow without end and the other would
// let them shrink.

template <class Filter, class Step>
void runSteps(benchmark::State& state, Filter filter, Step step) {
  const std::array<Box, kBoxes> boxes = makeBoxes();
  std::size_t i = 0;
  for (auto _ : state) {
    step(filter, boxes[i++ % kBoxes]);
    benchmark::DoNotOptimize(filter);
  }
}

template <class Filter, class Judge>
void runJudgements(benchmark::State& state, Filter filter, Judge judge) {
  const std::array<Box, kBoxes> boxes = makeBoxes();
  filter.predict(kSeconds);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(filter);
    benchmark::DoNotOptimize(judge(filter, boxes[i++ % kBoxes]));
  }
}

template <class Function>
void add(const char* name, Function function) {
  benchmark::RegisterBenchmark(name, function)->MinTime(0.05);
}

}  // namespace

void registerFilters() {
  const auto predictAndUpdate = [](auto& filter, const Box& box) {
    filter.predict(kSeconds);
    filter.update(box);
  };
  const auto canAssociate = [](const auto& filter, const Box& box) { return filter.canAssociate(box); };

  const auto axisFilter = [] { return KalmanFilter1D(0.0F, vanillaFilterParams().xParams); };
  add("KalmanFilter1D/predictAndUpdate", [=](benchmark::State& state) {
    runSteps(state, axisFilter(), [](KalmanFilter1D& filter, const Box& box) {
      filter.predict(kSeconds);
      filter.update(box.left);
    });
  });
  add("KalmanFilter1D/likelihood", [=](benchmark::State& state) {
    runJudgements(state, axisFilter(),
                  [](const KalmanFilter1D& filter, const Box& box) { return filter.observationLikelihood(box.left); });
  });

  const auto boxFilter = [] { return KalmanBoxFilter(makeBoxes()[0], vanillaFilterParams()); };
  add("KalmanBoxFilter/predictAndUpdate",
      [=](benchmark::State& state) { runSteps(state, boxFilter(), predictAndUpdate); });
  add("KalmanBoxFilter/gate", [=](benchmark::State& state) { runJudgements(state, boxFilter(), canAssociate); });
  add("KalmanBoxFilter/likelihood", [=](benchmark::State& state) {
    runJudgements(state, boxFilter(),
                  [](const KalmanBoxFilter& filter, const Box& box) { return filter.observationLikelihood(box); });
  });

  const auto jointFilter = [] { return KalmanBoxFilter4D(makeBoxes()[0], reidFilterParams()); };
  add("KalmanBoxFilter4D/predictAndUpdate",
      [=](benchmark::State& state) { runSteps(state, jointFilter(), predictAndUpdate); });
  add("KalmanBoxFilter4D/gate", [=](benchmark::State& state) { runJudgements(state, jointFilter(), canAssociate); });

  add("AttributeFilter/update", [](benchmark::State& state) {
    // Ten attributes with two values each, of which each detection shows one.
    std::array<std::vector<AttributeClassification>, 2> shown;
    for (std::int32_t value = 0; value < 2; ++value) {
      for (std::int32_t type = 0; type < 10; ++type)
        shown[static_cast<std::size_t>(value)].push_back({type, value, 80.0F});
    }
    AttributeFilter filter(shown[0]);
    std::size_t i = 0;
    for (auto _ : state) {
      filter.update(shown[i++ % 2], 0.06F);
      benchmark::DoNotOptimize(filter);
    }
  });
}

}  // namespace nivra::bench
