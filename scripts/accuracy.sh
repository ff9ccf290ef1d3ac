#!/usr/bin/env bash
# Measures how accurate the trackers are on FOLDER/*, sequences in the MOTChallenge layout with gt/gt.txt, and writes
# the figures into docs/accuracy.md, and three of them into README.md.
set -euo pipefail
[ $# -eq 1 ] || { echo "usage: $0 FOLDER" >&2; exit 2; }
folder=$(cd "$1" && pwd)
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh bench
build=build/accuracy
cmake --preset release -B "$build" -D NIVRA_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target nivra_cli
/usr/bin/python3 bench/accuracy.py "$build/tools/nivra/nivra" "$folder" docs/accuracy.md README.md
