#!/usr/bin/env bash
# Measures the trackers and writes the figures into docs/performance.md. Give it a directory of sequences in the
# MOTChallenge layout to have those measured too.
set -euo pipefail
data=
[ $# -eq 0 ] || data=$(cd "$1" && pwd)
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh bench
cmake --preset bench >/dev/null
cmake --build --preset bench

results=build/bench/results.json
echo "Measuring; this takes some minutes ..."
# Interleaved, so that a disturbance of some seconds hits one repetition of a benchmark and not all of them.
NIVRA_BENCH_DATA=$data build/bench/bench/nivra_bench --benchmark_repetitions=3 \
  --benchmark_enable_random_interleaving=true --benchmark_out="$results" --benchmark_out_format=json >/dev/null
python3 bench/report.py "$results" docs/performance.md
