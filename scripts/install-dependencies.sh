#!/usr/bin/env bash
# Installs what is missing of Debian's packages: `build` for the library and the tool, `test` for everything
# that scripts/test.sh runs, `arm`, `bench`, `coverage` and `fuzz` for the scripts named after them. Does nothing, and
# needs no network, when all of it is there.
set -euo pipefail

packages=(g++ cmake ninja-build pkg-config libeigen3-dev libcli11-dev libfmt-dev libsimdjson-dev zlib1g-dev)
case "${1:-}" in
  build) ;;
  test) packages+=(clang libclang-rt-14-dev llvm libgtest-dev python3 python3-jsonschema jq mandoc) ;;
  arm) packages+=(g++-aarch64-linux-gnu g++-arm-linux-gnueabihf qemu-user googletest) ;;
  bench) packages+=(git libbenchmark-dev python3) ;;
  coverage) packages+=(libgtest-dev gcovr python3) ;;
  fuzz) packages+=(clang libclang-rt-14-dev llvm) ;;
  *) echo "usage: $0 build|test|arm|bench|coverage|fuzz" >&2; exit 2 ;;
esac

is_installed() { [ "$(dpkg-query -W -f '${Status}' "$1" 2>/dev/null)" = "install ok installed" ]; }
missing=()
for package in "${packages[@]}"; do is_installed "$package" || missing+=("$package"); done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "Installing ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${as_root[@]}" apt-get update &&
       "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
     } >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
