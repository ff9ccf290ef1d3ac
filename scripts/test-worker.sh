#!/usr/bin/env bash
# Tries what the worker promises at length: the model of its protocol in 100,000 runs, and 40,000 frames of 40 cameras
# for each way to harm workers and their Redis. Takes some ten minutes; a full disk is tried by root alone.
# usage: test-worker.sh [harm ...], such as kill; all of them if none is given
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-dependencies.sh test
cmake --preset release >/dev/null
cmake --build --preset release --target nivra_cli nivra_worker_cli nivra_worker_tests

harms=("$@")
if [ $# -eq 0 ]; then
  harms=(kill stall leave redis network)
  [ "$(id -u)" -ne 0 ] || harms+=(disk)
fi
echo "== The model"
NIVRA_MODEL_RUNS=100000 build/release/tests/worker/nivra_worker_tests --gtest_filter='WorkerModel.*'
for harm in "${harms[@]}"; do
  echo "== $harm"
  every=1
  case $harm in redis | network | disk) every=5 ;; esac
  python3 tests/worker/survival.py build/release/worker/nivra-worker build/release/tools/nivra/nivra \
    --harm "$harm" --every "$every"
done
