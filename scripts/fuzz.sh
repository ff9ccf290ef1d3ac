#!/usr/bin/env bash
# Builds the fuzz targets with sanitizers, replays their corpus and fuzzes them, all together for the given number of
# seconds (60 by default). A finding ends it; its input stays in build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
[[ $seconds =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [seconds]" >&2; exit 2; }
targets=(fuzzParameters fuzzTrackers fuzzStates fuzzMotChallenge fuzzJsonLines fuzzFormats fuzzEvaluation fuzzC)
build=build/fuzz
findings=$build/findings

log=$(mktemp)
trap 'rm -f "$log"' EXIT
scripts/install-dependencies.sh fuzz
{ cmake --preset fuzz && cmake --build --preset fuzz --target fuzzers; } >"$log" 2>&1 ||
  { cat "$log" >&2; exit 1; }

mkdir -p "$findings"
run() { # target, then options and folders of the fuzzer
  local target=$1
  # The library's fault reports go nowhere; what the fuzzer and the sanitizers say comes through.
  "$build/fuzz/$target" -close_fd_mask=2 -timeout=10 -rss_limit_mb=2048 -artifact_prefix="$findings/$target-" "${@:2}" \
    >"$log" 2>&1 && return
  cat "$log" >&2
  echo "$target: found a fault, reproduced by: $build/fuzz/$target $(sed -n 's/.*Test unit written to //p' "$log")" >&2
  exit 1
}

each=$(((seconds + ${#targets[@]} - 1) / ${#targets[@]}))
for target in "${targets[@]}"; do
  corpus=fuzz/corpus/$target
  grown=$build/grown/$target # what fuzzing adds stays out of the sources
  mkdir -p "$grown"
  run "$target" -runs=0 "$corpus"
  run "$target" -max_total_time="$each" -max_len=2048 -print_final_stats=1 "$grown" "$corpus"
  echo "$target: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") executions," \
    "coverage $(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1 | sed 's/cov: \([0-9]*\) ft: \([0-9]*\)/\1 edges, \2 features/')," \
    "$(find "$corpus" -type f | wc -l) inputs in the corpus"
done
