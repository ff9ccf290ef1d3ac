#!/usr/bin/env bash
# Copies all that git tracks into a new folder, as it stands here, committed or not; what git doesn't know stays behind.
# usage: clean-copy.sh FOLDER
set -euo pipefail
mkdir -p "$1"
copy=$(cd "$1" && pwd)
cd "$(dirname "$0")/.."
tree=$(git stash create)
git archive "${tree:-HEAD}" | tar -x -C "$copy"
