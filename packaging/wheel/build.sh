#!/usr/bin/env bash
# Builds a wheel that other distributions take as well: the libraries that the module needs are inside, and its tag says
# which release of the C library it takes at least. The older the system that it is built on, the more take it.
# usage: build.sh SOURCES OUTPUT [PYTHON]; SOURCES holds the folders fmt, simdjson and zlib, as they are released
set -euo pipefail
[ $# -ge 2 ] || { echo "usage: $0 SOURCES OUTPUT [PYTHON]" >&2; exit 2; }
sources=$(realpath "$1") output=$(realpath "$2") python=${3:-/usr/bin/python3}
cd "$(dirname "$0")/../.."

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
scripts/clean-copy.sh "$scratch/copy"

for library in fmt simdjson zlib; do
  echo "== $library"
  cmake -S "$sources/$library" -B "$scratch/$library" -D CMAKE_BUILD_TYPE=Release -D CMAKE_INSTALL_LIBDIR=lib \
    -D CMAKE_INSTALL_PREFIX="$scratch/inside" -D BUILD_SHARED_LIBS=OFF -D CMAKE_POSITION_INDEPENDENT_CODE=ON \
    -D FMT_TEST=OFF >"$scratch/log"
  cmake --build "$scratch/$library" --parallel >"$scratch/log"
  cmake --install "$scratch/$library" >"$scratch/log"
done
rm -f "$scratch"/inside/lib/*.so*

echo "== The module"
cd "$scratch/copy"
CMAKE_ARGS="-D CMAKE_PREFIX_PATH=$scratch/inside
  '-DCMAKE_MODULE_LINKER_FLAGS=-static-libstdc++ -static-libgcc -Wl,--exclude-libs,ALL -s'" \
  "$python" setup.py -q build_ext --build-lib "$scratch/lib" --build-temp "$scratch/module" >"$scratch/log"
NIVRA_PYTHON_MODULE=$(echo "$scratch"/lib/nivra/_core*.so)
export NIVRA_PYTHON_MODULE

# Parts of the C library, which have one version together.
others=$(readelf -d "$NIVRA_PYTHON_MODULE" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' |
  grep -vE '^(libc|libm|libdl|libpthread|librt|ld-linux-.*)\.so\.[0-9]+$' || true)
[ -z "$others" ] || { echo "error: the module needs what not every system has: $others" >&2; exit 1; }
release=$(objdump -T "$NIVRA_PYTHON_MODULE" | grep -oP '\(GLIBC_\K[0-9.]+' | sort -V | tail -n 1)
platform=manylinux_${release//./_}_$(uname -m)

echo "== The wheel, for $platform"
"$python" -m build --no-isolation --wheel --outdir "$output" "-C--build-option=--plat-name=$platform" >"$scratch/log"
ls "$output"
