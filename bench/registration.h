#pragma once

namespace nivra::bench {

void registerTrackers();
void registerGalleries();
void registerFilters();
void registerStreams();
void registerCameraMotion();
void registerStates();

/// Registers nothing when NIVRA_BENCH_DATA is not set.
/// @return False if it names a directory without a readable sequence; standard error then says why.
bool registerSequences();

}  // namespace nivra::bench
