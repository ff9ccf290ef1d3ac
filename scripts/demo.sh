#!/usr/bin/env bash
# Builds the tool, tracks the sample and shows what the tracker made of it.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

log=$(mktemp)
trap 'rm -f "$log"' EXIT
step() {
  echo "$1 ..."
  shift
  "$@" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
}

step "Looking for what the build needs" "$root/scripts/install-dependencies.sh" build
# A folder of its own: the tests need more packages, and the release build is not to lose them.
build=build/demo
step "Configuring" cmake --preset release -B "$build" -D NIVRA_BUILD_TESTS=OFF
step "Building" cmake --build "$build" --target nivra_cli

tool=$build/tools/nivra/nivra
sample=examples/data/plaza
tracks=$build/plaza.txt
step "Tracking $sample" "$tool" track "$sample" --tracker reid --confident-only --verbose --force -o "$tracks"

echo
awk -F, '
  function centre() { return sprintf("%.0f, %.0f", $3 + $5 / 2, $4 + $6 / 2) }
  !($2 in first) { order[++count] = $2; first[$2] = $1; from[$2] = centre() }
  $2 in last && $1 - last[$2] > away[$2] + 1 { away[$2] = $1 - last[$2] - 1; back[$2] = $1 }
  { last[$2] = $1; to[$2] = centre(); frames[$2]++; height[$2] += $6 }
  END {
    line = "%8s  %5s  %5s  %6s  %12s  %12s  %11s  %s\n"
    printf line, "identity", "first", "last", "frames", "first seen", "last seen", "mean height", "recognised"
    for (i = 1; i <= count; i++) {
      id = order[i]
      printf line, id, first[id], last[id], frames[id], from[id], to[id], sprintf("%.0f px", height[id] / frames[id]),
        id in back ? sprintf("in frame %d, after %d frames out of sight", back[id], away[id]) : ""
    }
  }' "$tracks"

echo
cat "$log"
distinct() { cut -d, -f2 "$1" | sort -u | wc -l; }
echo "People in the ground truth: $(distinct "$sample/gt/gt.txt"), identities reported: $(distinct "$tracks")"
echo

crossing=$build/crossing
step "Simulating a crossing: a camera that pans and drops frames" "$tool" simulate --to jsonl --force -o "$crossing" \
  --people 8 --vehicles 3 --reentries 0.6 --pan 0.05 --drop 0.05
follow() { "$tool" track --tracker hybrid --labels human,car,truck --confident-only --verbose \
  <"$crossing/detections.jsonl" >"$crossing/tracks.jsonl"; }
step "Tracking it as a stream, line by line" follow
cat "$log"
identities=$(grep -o '"tracks":\[{"id":[0-9]*\|,{"id":[0-9]*' "$crossing/tracks.jsonl" | grep -o '[0-9]*$' | sort -u | wc -l)
echo "Objects in the ground truth: $(distinct "$crossing/gt/gt.txt"), identities reported: $identities"
echo "The first answer with a track, shortened:"
grep -m 1 '"tracks":\[{' "$crossing/tracks.jsonl" | cut -c 1-200 | sed 's/$/ .../; s/^/  /'

echo
echo "The tracks are in $root/$tracks and $root/$crossing/tracks.jsonl. Next:"
echo "  PATH=$root/${tool%/*}:\$PATH"
echo "  nivra track --help"
