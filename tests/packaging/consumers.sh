#!/usr/bin/env bash
# Installs a build into an empty prefix and uses it as a stranger would: the example host through find_package
# and pkg-config, by the commands of README.md. Then embeds the sources in the example host as a static library, and
# uses that from wherever it may be installed.
# usage: consumers.sh <source dir> <build dir> <work dir> <C++ compiler> <flags>
set -euo pipefail
source_dir=$1 build_dir=$2 work_dir=$3 compiler=$4 flags=$5

rm -rf "$work_dir"
mkdir -p "$work_dir/examples"
cp -r "$source_dir/examples/host" "$work_dir/examples/host"
cd "$work_dir"

. "$source_dir/tests/packaging/installed.sh"
files_in() { (cd "$1" && find . ! -type d | sed 's|^\./||' | sort); } # folders

echo "components"
components=(runtime development tool)
[ ! -e "$build_dir/worker/nivra-worker" ] || components+=(worker)
for component in "${components[@]}"; do
  quietly cmake --install "$build_dir" --prefix "$work_dir/$component" --component "$component"
  mkdir -p "$component"
done
quietly cmake --install "$build_dir" --prefix "$work_dir/whole"
expect "the components together" "$(files_in whole)" "$(for c in "${components[@]}"; do files_in "$c"; done | sort)"
expect "runtime" "share/doc/nivra/LICENSE" "$(files_in runtime | grep -v '/libnivra\(_c\)\?\.so\.[0-9.]*$')"
if [ -e tool/bin/nivra ]; then
  expect "tool" "bin/nivra
share/bash-completion/completions/nivra
share/fish/vendor_completions.d/nivra.fish
share/man/man1/nivra.1
share/zsh/site-functions/_nivra" "$(files_in tool)"
  cp -a runtime/. tool
  quietly tool/bin/nivra params
fi
if [ -e worker ]; then
  expect "worker" "bin/nivra-worker
lib/systemd/system/nivra-worker@.service
share/bash-completion/completions/nivra-worker
share/fish/vendor_completions.d/nivra-worker.fish
share/man/man1/nivra-worker.1
share/zsh/site-functions/_nivra-worker" "$(files_in worker)"
  cp -a runtime/. worker
  quietly worker/bin/nivra-worker --version
fi
# A moved prefix still works: nothing in it may name the place where it was installed first.
mkdir moved
mv development runtime moved
cp -a moved/runtime/. moved/development
prefix=$work_dir/moved/development
libdir=$(dirname "$(find "$prefix" -name 'libnivra.so' -o -name 'libnivra.a')")

echo "README.md"
# With this build's compiler and flags.
(
  # shellcheck disable=SC2086  # flags are words
  g++() { command "$compiler" $flags "$@"; }
  export -f g++
  export compiler flags CXX=$compiler CXXFLAGS=$flags
  run_readme_hosts "$source_dir/README.md" "$prefix" "$libdir"
)

if [ -e "$libdir/libnivra_c.so" ]; then
  echo "docs/c.md"
  PKG_CONFIG_PATH=$libdir/pkgconfig LD_LIBRARY_PATH=$libdir \
    run_c_program "$source_dir/docs/c.md" -D CMAKE_PREFIX_PATH="$prefix" -D CMAKE_C_FLAGS="$flags"
fi

echo "no other library"
# Eigen is for tests and benchmarks: neither headers nor CMake's and pkg-config's files may ask a host for it.
! grep -rIil eigen "$prefix/include" "$libdir" || fail "what is installed mentions Eigen"
expect "what else pkg-config asks for" "" "$(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --print-requires nivra)"
! grep -rn find_dependency "$libdir/cmake" || fail "find_package asks for other packages"

if [ -e "$libdir/libnivra.so" ]; then
  echo "symbols"
  [ "$(readelf -d "$libdir/libnivra.so" | grep -c 'SONAME.*libnivra\.so\.[0-9]')" -eq 1 ] ||
    fail "libnivra.so has no versioned SONAME"
  ! nm -DC --defined-only "$libdir/libnivra.so" | grep -E ' nivra::(reportFault|clampedToPicture)' ||
    fail "libnivra.so exports internals"
fi

echo "arithmetic that is no IEEE arithmetic"
for option in -ffast-math -Ofast -ffinite-math-only; do
  ! "$compiler" -std=c++17 -fsyntax-only "$option" -I "$source_dir/include" -I "$source_dir/src" -x c++ \
    "$source_dir/src/filters/axisFilter.h" 2>output || fail "$option is not refused"
  grep -q "nivra tells numbers" output || { cat output; fail "$option is refused for another reason"; }
done

echo "add_subdirectory"
configure() { # build folder, then what CMake is to know
  quietly cmake -S examples/host -B "$1" -D CMAKE_CXX_COMPILER="$compiler" -D CMAKE_CXX_FLAGS="$flags" "${@:2}"
}
embed() { configure embedded -D NIVRA_SOURCE_DIR="$source_dir" "$@"; }
while read -r of_host of_library; do
  embed -D CMAKE_EXPORT_COMPILE_COMMANDS=ON -D CMAKE_CXX_STANDARD="$of_host"
  expect "the standard in a host of C++$of_host" "std=c++$of_library" \
    "$(grep '/src/core/' embedded/compile_commands.json | grep -o 'std=[^ ]*' | sort -u)"
done <<<"14 17
20 20"
quietly cmake --install embedded --prefix "$work_dir/embedded-install"
[ ! -e embedded-install ] || fail "a host that embeds nivra installs it unasked: $(files_in embedded-install)"
# Unoptimised, but by the rules of the build type that people install.
embed -U CMAKE_CXX_STANDARD -D BUILD_SHARED_LIBS=OFF -D NIVRA_INSTALL=ON \
  -D CMAKE_BUILD_TYPE=Release -D CMAKE_CXX_FLAGS_RELEASE=-O0
quietly cmake --build embedded
embedded/host >log
expect_hosts 1

# Installs it there, and builds hosts through pkg-config and find_package.
used_from() { # name, DESTDIR, prefix, the prefix that hosts are told, then what else CMake is to know
  echo "static, $1"
  embed -U 'CMAKE_INSTALL_*DIR' -D CMAKE_INSTALL_PREFIX="$3" "${@:5}"
  DESTDIR=$2 quietly cmake --install embedded --component development
  [ -e "$4" ] || mv "$2$3" "$4"
  PKG_CONFIG_SYSROOT_DIR=$2 PKG_CONFIG_PATH=$(dirname "$(find "$4" -name nivra.pc)")
  export PKG_CONFIG_SYSROOT_DIR PKG_CONFIG_PATH
  # shellcheck disable=SC2046,SC2086
  quietly "$compiler" -std=c++17 $flags examples/host/main.cpp $(pkg-config --cflags --libs nivra) -o host
  configure found -U nivra_DIR -D CMAKE_PREFIX_PATH="$4"
  quietly cmake --build found --clean-first
  { ./host; found/host; } >log
  expect_hosts 2
}
multiarch=lib/$(sed -n 's/^ *set(CMAKE_LIBRARY_ARCHITECTURE "\(.*\)")/\1/p' embedded/CMakeFiles/*/CMakeCXXCompiler.cmake)

used_from "directories of their own" "" "$work_dir/own" "$work_dir/libraries" \
  -D CMAKE_INSTALL_LIBDIR="$work_dir/libraries/lib" -D CMAKE_INSTALL_INCLUDEDIR="$work_dir/headers"

used_from "/usr of a system elsewhere" "$work_dir/system" /usr "$work_dir/system/usr" -D CMAKE_INSTALL_LIBDIR="$multiarch"
expect "where compilers look in a system of its own" "-lnivra" \
  "$(PKG_CONFIG_SYSROOT_DIR='' pkg-config --libs nivra | sed 's/ *$//')"

used_from "a moved prefix with multiarch" "" "$work_dir/first" "$work_dir/second" -D CMAKE_INSTALL_LIBDIR="$multiarch"
# shellcheck disable=SC2046,SC2086
quietly "$compiler" -std=c++17 $flags -shared -fPIC -fvisibility=hidden examples/host/main.cpp \
  $(pkg-config --cflags --libs nivra) -o plugin.so
# By the names that linkers see: what the standard library makes of the host's own types is the host's.
! nm -D --defined-only plugin.so | grep -E ' _Z(T[VIS])?NK?5nivra' ||
  fail "a shared host exports nivra"

other_compilers=(clang++ clang)
[[ $compiler != *clang* ]] || other_compilers=(g++ gcc)
if [[ $flags != *fsanitize* ]] && command -v "${other_compilers[0]}" >/dev/null; then
  echo "static, for another C++ compiler and a C compiler that links"
  # shellcheck disable=SC2046
  quietly "${other_compilers[0]}" -std=c++17 -c examples/host/main.cpp $(pkg-config --cflags nivra) -o host.o
  # shellcheck disable=SC2046
  quietly "${other_compilers[1]}" host.o $(pkg-config --static --libs nivra) -o host
  ./host >log
  expect_hosts 1
fi
