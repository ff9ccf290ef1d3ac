#!/usr/bin/env bash
# Installs a build into an empty prefix and uses it as a stranger would: the example host through find_package,
# pkg-config and add_subdirectory.
# usage: consumers.sh <source dir> <build dir> <work dir> <C++ compiler> <flags>
set -euo pipefail
source_dir=$1 build_dir=$2 work_dir=$3 compiler=$4 flags=$5

rm -rf "$work_dir"
mkdir -p "$work_dir"
cmake --install "$build_dir" --prefix "$work_dir/prefix" >/dev/null
cp -r "$source_dir/examples/host" "$work_dir/host"
# A moved prefix still works: nothing in it may name the place where it was installed first.
mv "$work_dir/prefix" "$work_dir/moved"
prefix=$work_dir/moved

expect_host_runs() {
  local output
  output=$("$@") || { echo "$1 failed:"; echo "$output"; return 1; }
  grep -q "frame 49: identity 0 .*confident" <<<"$output" || { echo "$1 printed:"; echo "$output"; return 1; }
}

build_with_cmake() {
  local build=$1
  shift
  cmake -S "$work_dir/host" -B "$build" -D CMAKE_CXX_COMPILER="$compiler" -D CMAKE_CXX_FLAGS="$flags" "$@" >/dev/null
  cmake --build "$build" >/dev/null
}

echo "find_package"
build_with_cmake "$work_dir/found" -D CMAKE_PREFIX_PATH="$prefix"
expect_host_runs "$work_dir/found/host"

echo "pkg-config"
libdir=$(dirname "$(find "$prefix" -name libnivra.so)")
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046,SC2086  # flags are words
"$compiler" -std=c++17 $flags "$work_dir/host/main.cpp" $(pkg-config --cflags --libs nivra) -o "$work_dir/host-pkg-config"
expect_host_runs env LD_LIBRARY_PATH="$libdir" "$work_dir/host-pkg-config"

if [ "$(uname -m)" = x86_64 ] && grep -qw avx2 /proc/cpuinfo && [[ $flags != *thread* ]]; then
  echo "a host with wider vectors"
  # shellcheck disable=SC2046
  "$compiler" -std=c++17 -O2 -mavx2 -mfma -fsanitize=address,undefined -fno-sanitize-recover=all \
    "$source_dir/tests/packaging/wideVectors.cpp" $(pkg-config --cflags --libs nivra) -o "$work_dir/wide-vectors"
  LD_LIBRARY_PATH=$libdir "$work_dir/wide-vectors"
fi

echo "add_subdirectory"
build_with_cmake "$work_dir/embedded" -D NIVRA_SOURCE_DIR="$source_dir"
expect_host_runs "$work_dir/embedded/host"

echo "symbols"
if [ "$(readelf -d "$libdir/libnivra.so" | grep -c 'SONAME.*libnivra\.so\.[0-9]')" -ne 1 ]; then
  echo "libnivra.so has no versioned SONAME"
  exit 1
fi
if nm -DC --defined-only "$libdir/libnivra.so" | grep -E ' nivra::(reportFault|clampedToPicture)'; then
  echo "libnivra.so exports internals"
  exit 1
fi
