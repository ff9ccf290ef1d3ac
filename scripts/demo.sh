#!/usr/bin/env bash
# Builds the tool, tracks the sample and shows what the tracker made of it, in words and as a page for a browser.
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
step "Tracking $sample" "$tool" track "$sample" --tracker reid --verbose --force -o "$tracks"

echo
awk -F, -v half_a_second=12 '
  function centre() { return sprintf("%.0f, %.0f", $3 + $5 / 2, $4 + $6 / 2) }
  !($2 in first) { order[++count] = $2; first[$2] = $1; from[$2] = centre() }
  $2 in last && $1 - last[$2] > away[$2] + 1 && $1 - last[$2] > half_a_second { away[$2] = $1 - last[$2] - 1; back[$2] = $1 }
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
# An identity is the person whose true box it overlaps by half in most of its frames.
awk -F, '
  function least(a, b) { return a < b ? a : b }
  function most(a, b) { return a > b ? a : b }
  function overlap(l, t, w, h, x, y, v, u,   wide, high) {
    wide = least(l + w, x + v) - most(l, x); high = least(t + h, y + u) - most(t, y)
    return wide > 0 && high > 0 ? wide * high / (w * h + v * u - wide * high) : 0
  }
  function reason(id, older,   frame, hidden) {
    if (first[id] <= last[older]) return "a second track beside it, from frame " first[id]
    for (frame = last[older] + 1; frame < first[id]; frame++) hidden += visible[frame, person[id]] < 0.5
    return sprintf("begun anew in frame %d, after %d frames, more than half hidden in %d of them",
      first[id], first[id] - last[older] - 1, hidden)
  }
  FILENAME ~ /gt\.txt$/ { people[$1] = people[$1] " " $2; box[$1, $2] = $3 " " $4 " " $5 " " $6; visible[$1, $2] = $9; next }
  {
    if (!($2 in votes)) { order[++count] = $2; votes[$2] = "" }
    if (!($2 in first)) first[$2] = $1
    last[$2] = $1
    n = split(people[$1], here, " ")
    for (i = 1; i <= n; i++) {
      split(box[$1, here[i]], b, " ")
      if (overlap($3, $4, $5, $6, b[1], b[2], b[3], b[4]) >= 0.5 && ++vote[$2, here[i]] > best[$2]) {
        best[$2] = vote[$2, here[i]]; person[$2] = here[i]
      }
    }
  }
  END {
    for (i = 1; i <= count; i++) {
      id = order[i]
      if (!(person[id] in known)) firsts++
      else lost = lost sprintf("  %d is who %d was: %s\n", id, known[person[id]], reason(id, known[person[id]]))
      known[person[id]] = id
    }
    printf "%d of them are the first of a person.\n", firsts
    if (lost) printf "Not recognised again:\n%s", lost
  }' "$sample/gt/gt.txt" "$tracks"
echo

crossing=$build/crossing
step "Simulating a crossing: a camera that pans and drops frames" "$tool" simulate --to jsonl --force -o "$crossing" \
  --people 8 --vehicles 3 --reentries 0.6 --pan 0.05 --drop 0.05
follow() { "$tool" track --tracker hybrid --labels human,car,truck --report confident --verbose \
  <"$crossing/detections.jsonl" >"$crossing/tracks.jsonl"; }
step "Tracking it as a stream, line by line" follow
cat "$log"
identities=$(grep -o '"tracks":\[{"id":[0-9]*\|,{"id":[0-9]*' "$crossing/tracks.jsonl" | grep -o '[0-9]*$' | sort -u | wc -l)
echo "Objects in the ground truth: $(distinct "$crossing/gt/gt.txt"), identities reported: $identities"
echo "The first answer with a track, shortened:"
grep -m 1 '"tracks":\[{' "$crossing/tracks.jsonl" | cut -c 1-200 | sed 's/$/ .../; s/^/  /'

page=$build/plaza.html
echo
step "Writing a page that shows two trackers side by side, and whom they confuse" "$tool" replay "$sample" \
  --tracker reid --beside vanilla --truth "$sample" --force -o "$page"
echo "Open it in a browser: file://$root/$page"

echo
echo "The tracks are in $root/$tracks and $root/$crossing/tracks.jsonl. Next:"
echo "  PATH=$root/${tool%/*}:\$PATH"
echo "  nivra track --help"
