#!/usr/bin/env bash
# Builds the tool and the tests for 64-bit and 32-bit ARM and runs them under emulation: the tool has to follow the
# sample, and the sequence folders given as arguments, as it does on this machine, and all tests have to pass.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
sequences=("$root/examples/data/plaza")
for sequence in "$@"; do sequences+=("$(realpath "$sequence")"); done
cd "$root"

scripts/install-dependencies.sh arm

build() { # name, then what CMake is to know
  echo "== Building for $1"
  cmake --preset release -B "build/$1" "${@:2}" >/dev/null
  cmake --build "build/$1"
}
build host -D NIVRA_BUILD_TESTS=OFF
build aarch64 --toolchain cmake/cross/aarch64.cmake
build armhf --toolchain cmake/cross/armhf.cmake

declare -A emulator=(
  [aarch64]="qemu-aarch64 -L /usr/aarch64-linux-gnu"
  [armhf]="qemu-arm -L /usr/arm-linux-gnueabihf")
tool=tools/nivra/nivra
tracks=$(mktemp -d)
trap 'rm -rf "$tracks"' EXIT

# The largest distance between edges, in picture coordinates, which span 2 across the picture.
largest_distance() { # sequence, two files with the same frames and identities
  info() { sed -n "s/^$1=\([0-9]*\).*/\1/p" "$2/seqinfo.ini"; }
  paste -d, "$2" "$3" | awk -F, -v width="$(info imWidth "$1")" -v height="$(info imHeight "$1")" '
    function meet(a, b, size) { a = (a < b ? b - a : a - b) * 2 / size; if (a > worst) worst = a }
    { meet($3, $13, width); meet($3 + $5, $13 + $15, width); meet($4, $14, height); meet($4 + $6, $14 + $16, height) }
    END { printf "%.1e\n", worst }'
}

echo "== Comparing tracks with those of $(uname -m)"
for sequence in "${sequences[@]}"; do
  for tracker in vanilla reid hybrid lowfps; do
    arguments=(track "$sequence" --tracker "$tracker" --force -o)
    "build/host/$tool" "${arguments[@]}" "$tracks/host"
    for target in aarch64 armhf; do
      ${emulator[$target]} "build/$target/$tool" "${arguments[@]}" "$tracks/$target"
      place="$(basename "$sequence"), $tracker, $target"
      cmp <(cut -d, -f1,2 "$tracks/host") <(cut -d, -f1,2 "$tracks/$target") ||
        { echo "$place: other identities" >&2; exit 1; }
      distance=$(largest_distance "$sequence" "$tracks/host" "$tracks/$target")
      echo "$place: $(wc -l <"$tracks/$target") boxes, at most $distance apart"
      awk -v distance="$distance" 'BEGIN { exit !(distance <= 1e-4) }' ||
        { echo "$place: more than 1e-4 apart" >&2; exit 1; }
    done
  done
done

for target in aarch64 armhf; do
  echo "== Tests on $target"
  ctest --test-dir "build/$target" --output-on-failure -E Packaging
done
