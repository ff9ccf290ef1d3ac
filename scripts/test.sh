#!/usr/bin/env bash
# Builds everything and runs every check, as CI does: g++ and clang with warnings as errors, the whole suite plain
# and under the address and undefined-behaviour sanitizers, the thread tests under the thread sanitizer, a short run of
# the fuzz targets, workers that are killed again and again, and the site with its links.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh test

build() { # preset, and what of it
  echo "== Building $1"
  cmake --preset "$1" -D NIVRA_BUILD_PYTHON="$([ "$1" = release ] && echo ON || echo OFF)" >/dev/null
  cmake --build --preset "$1" "${@:2}"
}
# Every build is complete before the first test runs; the last preset's tests close the output.
build release
build clang
build asan
build tsan --target nivra_tests
build fuzz --target fuzzers

echo "== The site"
scripts/docs.sh
echo "== Fuzzing"
scripts/fuzz.sh 12
echo "== Workers that are killed"
/usr/bin/python3 tests/worker/survival.py build/release/worker/nivra-worker build/release/tools/nivra/nivra \
  --frames 13000 --seconds 20
echo "== Thread tests under the thread sanitizer"
ctest --preset tsan --parallel "$(nproc)" -R Threads
echo "== Tests built by clang"
ctest --preset clang --parallel "$(nproc)" -E Packaging
echo "== Tests under the address and undefined-behaviour sanitizers"
ctest --preset asan --parallel "$(nproc)" -E Packaging
echo "== Tests"
ctest --preset release --parallel "$(nproc)"
