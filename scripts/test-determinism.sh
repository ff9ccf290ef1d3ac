#!/usr/bin/env bash
# Compares the tool's output byte for byte between compilers and optimisation levels, and between the C library's
# functions for processors with and without fused multiply-adds: on the sample, and on the sequence folders given as
# arguments.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
sequences=("$root/examples/data/plaza")
for sequence in "$@"; do sequences+=("$(realpath "$sequence")"); done
cd "$root"

scripts/install-dependencies.sh test

builds=()
for compiler in g++ clang++; do
  for flags in "-O0" "-O3 -DNDEBUG"; do
    build="build/determinism/$compiler${flags%% *}"
    builds+=("$build")
    echo "== Building $build"
    cmake --preset release -B "$build" -D NIVRA_BUILD_TESTS=OFF -D CMAKE_CXX_COMPILER="$compiler" \
      -D CMAKE_CXX_FLAGS_RELEASE="$flags" >/dev/null
    cmake --build "$build"
  done
done

echo "== Comparing tracks"
plain=GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-AVX2
runs=()
for build in "${builds[@]}"; do runs+=("$build" "$build $plain"); done
passed=0
failed=0
for sequence in "${sequences[@]}"; do
  for tracker in vanilla reid hybrid lowfps; do
    for run in "${runs[@]}"; do
      read -r build setting <<<"$run"
      env ${setting:+"$setting"} "$build/tools/nivra/nivra" track "$sequence" --tracker "$tracker" --force \
        -o "$build/tracks.txt"
      if [ "$run" = "${runs[0]}" ]; then
        cp "$build/tracks.txt" "$build/expected.txt"
        [ -s "$build/tracks.txt" ] || { echo "$sequence, $tracker: no tracks" >&2; exit 1; }
      elif cmp "${builds[0]}/expected.txt" "$build/tracks.txt"; then
        passed=$((passed + 1))
      else
        echo "$(basename "$sequence"), $tracker: ${run##*/} differs from ${builds[0]##*/}" >&2
        failed=$((failed + 1))
      fi
    done
  done
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
