#!/usr/bin/env bash
# Installs what is missing of Debian's packages: `build` for the library and the tool, `worker` for the worker besides,
# and a Redis to try it with, `python` for the Python package, `package` for Debian's, `test` for everything that
# scripts/test.sh runs, `arm`, `bench`, `coverage`, `docs` and `fuzz` for the scripts named after them. Does nothing, and
# needs no network, when all of it is there.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

packages=(g++ cmake ninja-build pkg-config libcli11-dev libfmt-dev libnlopt-dev libsimdjson-dev zlib1g-dev python3)
architectures=()
python=(python3-dev pybind11-dev python3-pybind11 python3-numpy)
case "${1:-}" in
  build) ;;
  worker) packages+=(libhiredis-dev redis-server) ;;
  test) packages+=(clang libclang-rt-14-dev llvm libeigen3-dev libgtest-dev python3-jsonschema jq mandoc zsh fish
    chromium chromium-driver python3-selenium "${python[@]}" python3-pytest python3-mypy python3-pandas
    libhiredis-dev redis-server) ;;
  python) packages+=("${python[@]}" python3-build python3-pip python3-setuptools python3-venv
    python3-wheel) ;;
  package)
    # What else the build takes stands in debian/control, a line each; debhelper is named by a level of it there.
    mapfile -t needed < <(sed -n '/^Build-Depends:/,/^[A-Z]/s/^ \([a-z0-9+.-]*\).*/\1/p' "$root/debian/control")
    packages=("${needed[@]/debhelper-compat/debhelper}" build-essential dpkg-dev git lintian xz-utils) ;;
  arm)
    packages+=(g++-aarch64-linux-gnu g++-arm-linux-gnueabihf qemu-user libeigen3-dev googletest)
    architectures=(arm64 armhf) ;;
  bench) packages+=(git libbenchmark-dev libeigen3-dev libhiredis-dev redis-server) ;;
  coverage) packages+=(libeigen3-dev libgtest-dev gcovr) ;;
  docs) packages+=("${python[@]}" doxygen python3-sphinx python3-myst-parser furo mandoc) ;;
  fuzz) packages+=(clang libclang-rt-14-dev llvm) ;;
  *) echo "usage: $0 build|worker|test|python|package|arm|bench|coverage|docs|fuzz" >&2; exit 2 ;;
esac

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
quietly() { "$@" >>"$scratch/log" 2>&1 || { cat "$scratch/log" >&2; exit 1; }; }

is_installed() { [ "$(dpkg-query -W -f '${Status}' "$1" 2>/dev/null)" = "install ok installed" ]; }
install_missing() {
  local missing=() as_root=()
  for package in "${packages[@]}"; do is_installed "$package" || missing+=("$package"); done
  [ ${#missing[@]} -gt 0 ] || return 0

  if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo)
    command -v sudo >/dev/null || {
      echo "error: packages are missing, and installing them takes root, or sudo: ${missing[*]}" >&2
      echo "As root: apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
      exit 1
    }
  fi
  echo "Installing ${missing[*]}"
  quietly "${as_root[@]}" apt-get update
  quietly "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
}

# Compiled libraries of other architectures are unpacked into build/debian. Installing them would add architectures to
# the machine for good, and fail or replace its own libc6 wherever that isn't of the very same version.
libraries=(libnlopt-dev libnlopt0 libsimdjson-dev libsimdjson14 zlib1g-dev)
unpack_libraries() { # architecture
  local folder="$root/build/debian/$1" state="$scratch/$1"
  local options=(-o "APT::Architecture=$1" -o "APT::Architectures=$1" -o Acquire::Languages=none
    -o "Dir::State=$state" -o Dir::State::status=/dev/null -o "Dir::Cache=$state")
  # Written last, the list is there only when all of its packages are.
  if cmp -s "$folder/unpacked" <(echo "${libraries[@]}"); then return; fi

  echo "Unpacking ${libraries[*]} of $1"
  mkdir "$state"
  cd "$state"
  # apt leaves out lists that don't match their signatures, as while a mirror is being updated; the rest may do.
  apt-get "${options[@]}" update >>"$scratch/log" 2>&1 || echo "Some package lists of $1 are unusable; going on without"
  quietly apt-get "${options[@]}" download "${libraries[@]}"
  rm -rf "$folder"
  mkdir -p "$folder"
  for package in *.deb; do quietly dpkg-deb -x "$package" "$folder"; done
  echo "${libraries[@]}" >"$folder/unpacked"
}

install_missing
for architecture in "${architectures[@]}"; do unpack_libraries "$architecture"; done
