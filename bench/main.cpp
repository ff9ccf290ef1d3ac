#include <benchmark/benchmark.h>

#include "registration.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::AddCustomContext("compiler", NIVRA_BENCH_COMPILER);
  benchmark::AddCustomContext("flags", NIVRA_BENCH_FLAGS);

  nivra::bench::registerTrackers();
  nivra::bench::registerGalleries();
  nivra::bench::registerFilters();
  nivra::bench::registerStreams();
  nivra::bench::registerCameraMotion();
  nivra::bench::registerStates();
  if (!nivra::bench::registerSequences()) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
