#!/usr/bin/env bash
# Compares the library's binary interface with its description in tests/packaging/abi.txt: the symbols that it exports,
# the order of virtual functions, and for each type of the public headers its size and where its fields lie. A host that
# was built against the description goes on to run, without being built anew, with a library that agrees with it.
# Likewise that of the C interface, with c/tests/abi.txt.
# usage: test-abi.sh [--renew] [libnivra.so|libnivra_c.so]; --renew writes the description. The library is that of the
# preset release if none is given.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
renew=
[ "${1:-}" != --renew ] || { renew=yes; shift; }
library=${1:-$root/build/release/libnivra.so}
case $(basename "$library") in
  libnivra_c.*) header=nivra/c/nivra.h prefix=nivra_ description=$root/c/tests/abi.txt ;;
  *) header=nivra/nivra.h prefix=nivra:: description=$root/tests/packaging/abi.txt ;;
esac

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
echo "#include \"$header\"" >"$scratch/types.cpp"
g++ -std=c++17 -I"$root/include" -I"$root/c/include" -c "$scratch/types.cpp" -o /dev/null -fdump-lang-class="$scratch/classes"
# clang tells where the fields of those types lie that something asks the size of.
sed -n "s/^Class \\($prefix.*\\)/static_assert(sizeof(\1) > 0);/p" "$scratch/classes" >>"$scratch/types.cpp"
clang++ -std=c++17 -I"$root/include" -I"$root/c/include" -fsyntax-only -fno-access-control -Xclang -fdump-record-layouts-simple \
  "$scratch/types.cpp" >"$scratch/layouts"

# All that is exported, by the names that people write.
symbols() {
  nm -DC --defined-only "$library" | cut -d' ' -f3- |
    sed -E 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g
      :again; s/, std::(less|allocator)<([^<>]|<([^<>]|<[^<>]*>)*>)*>( >)/\4/; t again; s/ >/>/g'
}
virtual_functions() {
  sed -n '/^Vtable for nivra/,/^$/s/^\([0-9]*\) .*(\.\.\.))\(nivra::.*\)/\2 at \1/p' "$scratch/classes"
}
types() {
  awk -v prefix="^$prefix" '/^Type:/ { type = $3 }
    $1 ~ /^(Size|Alignment):/ { split($1, part, ":"); line = line " " tolower(part[1]) " " part[2] }
    /FieldOffsets:/ {
      gsub(/^[^[]*\[|\].*$|,/, "")
      if (type ~ prefix) print type ":" line ", fields at " $0
      line = ""
    }' "$scratch/layouts"
}
section() { # function that prints it, title
  echo "== $2"
  "$1" | LC_ALL=C sort -u
}
{
  section symbols "Symbols"
  section virtual_functions "Virtual functions, and where they stand in their tables"
  section types "Types, in bits"
} >"$scratch/found"

if [ "$renew" ]; then
  cp "$scratch/found" "$description"
elif ! diff -u --label described --label found "$description" "$scratch/found"; then
  echo "The binary interface isn't as described. CONTRIBUTING.md says what to do if it is meant to change." >&2
  exit 1
fi
