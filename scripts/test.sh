#!/usr/bin/env bash
# Builds everything and runs every check, as CI does: g++ and clang with warnings as errors, the whole suite plain
# and under the address and undefined-behaviour sanitizers, and the thread tests under the thread sanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh test

# Every build is complete before the first test runs; the last preset's tests close the output.
presets=(clang tsan asan release)
for preset in "${presets[@]}"; do
  echo "== Building $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
done

echo "== Thread tests under the thread sanitizer"
ctest --preset tsan -R Threads
echo "== Tests built by clang"
ctest --preset clang
echo "== Tests under the address and undefined-behaviour sanitizers"
ctest --preset asan
echo "== Tests"
ctest --preset release
