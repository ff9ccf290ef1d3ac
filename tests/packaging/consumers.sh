#!/usr/bin/env bash
# Installs a build into an empty prefix and uses it as a stranger would: the example host through find_package
# and pkg-config, by the commands of README.md, and through add_subdirectory.
# usage: consumers.sh <source dir> <build dir> <work dir> <C++ compiler> <flags>
set -euo pipefail
source_dir=$1 build_dir=$2 work_dir=$3 compiler=$4 flags=$5

rm -rf "$work_dir"
mkdir -p "$work_dir"
cmake --install "$build_dir" --prefix "$work_dir/prefix" >/dev/null
mkdir "$work_dir/examples"
cp -r "$source_dir/examples/host" "$work_dir/examples/host"
# A moved prefix still works: nothing in it may name the place where it was installed first.
mv "$work_dir/prefix" "$work_dir/moved"
prefix=$work_dir/moved

libdir=$(dirname "$(find "$prefix" -name libnivra.so)")

expect_hosts() { # how many
  [ "$(grep -c "frame 49: identity 0 .*confident" "$work_dir/log")" -eq "$1" ] ||
    { echo "expected $1 hosts that track, but they printed:"; cat "$work_dir/log"; exit 1; }
}

echo "README.md"
# The blocks about an installed library, as they stand there but for the prefix and this build's compiler and flags.
blocks=$(sed -n '/^## Embed it/,/^## /{/^```sh$/,/^```$/p}' "$source_dir/README.md" |
  sed '1,/^```$/d; /^```/d' | sed "s|/opt/nivra/lib|$libdir|g; s|/opt/nivra|$prefix|g")
run_blocks() (
  # shellcheck disable=SC2086  # flags are words
  g++() { command "$compiler" $flags "$@"; }
  export -f g++
  export compiler flags CXX=$compiler CXXFLAGS=$flags
  cd "$work_dir"
  mkdir build
  bash -ec "$blocks"
)
run_blocks >"$work_dir/log" 2>&1 || { cat "$work_dir/log"; exit 1; }
expect_hosts 3

export PKG_CONFIG_PATH=$libdir/pkgconfig
if [ "$(uname -m)" = x86_64 ] && grep -qw avx2 /proc/cpuinfo && [[ $flags != *thread* ]]; then
  echo "a host with wider vectors"
  # shellcheck disable=SC2046
  "$compiler" -std=c++17 -O2 -mavx2 -mfma -fsanitize=address,undefined -fno-sanitize-recover=all \
    "$source_dir/tests/packaging/wideVectors.cpp" $(pkg-config --cflags --libs nivra) -o "$work_dir/wide-vectors"
  LD_LIBRARY_PATH=$libdir "$work_dir/wide-vectors"
fi

echo "add_subdirectory"
cmake -S "$work_dir/examples/host" -B "$work_dir/embedded" -D NIVRA_SOURCE_DIR="$source_dir" \
  -D CMAKE_CXX_COMPILER="$compiler" -D CMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work_dir/embedded" >/dev/null
"$work_dir/embedded/host" >"$work_dir/log"
expect_hosts 1

echo "symbols"
if [ "$(readelf -d "$libdir/libnivra.so" | grep -c 'SONAME.*libnivra\.so\.[0-9]')" -ne 1 ]; then
  echo "libnivra.so has no versioned SONAME"
  exit 1
fi
if nm -DC --defined-only "$libdir/libnivra.so" | grep -E ' nivra::(reportFault|clampedToPicture)'; then
  echo "libnivra.so exports internals"
  exit 1
fi
