#!/usr/bin/env bash
# Installs each package of build/packages in a Debian 12 that has nothing yet, upgrades it to a higher version, and purges
# it: nothing may be left of it. Then runs the tests of debian/tests with the packages that they depend on. The bare
# Debian and what it downloads are kept in build/bare-debian for the next time.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/bare-debian.sh
packages=build/packages cache=build/bare-debian
[ -e "$packages/SHA256SUMS" ] || { echo "error: no packages: scripts/package.sh builds them" >&2; exit 1; }
(cd "$packages" && sha256sum --check --quiet SHA256SUMS)

mkdir -p "$cache"
[ -d "$cache/root" ] || { rm -rf "$cache/new" && make_bare_debian "$cache/new" "" && mv "$cache/new" "$cache/root"; }
scratch=$(mktemp -d)
root=$scratch/root
keep_downloads() { cp -n "$root/var/cache/apt/archives/"*.deb "$cache/archives" 2>/dev/null || true; }
trap 'keep_downloads; rm -rf "$scratch"' EXIT

quietly() { "$@" >"$scratch/log" 2>&1 || { tail -n 40 "$scratch/log"; echo "failed: $*"; exit 1; } >&2; }
in_root() { inside "$root" "$root" "$@"; }
apt() { quietly in_root apt-get -q -y --no-install-recommends -o Dpkg::Options::=--force-unsafe-io "$@"; }

# The same packages as another version, for the upgrade: what else would differ is up to the release.
version=$(dpkg-parsechangelog -S Version)
newer_version=$version+newer
make_newer() { # package's file
  dpkg-deb -R "$1" "$scratch/newer"
  sed -i "/^Version: \|^Depends: /s/\b${version//./\\.}\()\|$\)/$newer_version\1/g" "$scratch/newer/DEBIAN/control"
  dpkg-deb --root-owner-group -Znone -b "$scratch/newer" "$root/newer" >/dev/null
  rm -rf "$scratch/newer"
}
offer() { # folder of packages, from which apt takes what is to come
  (cd "$root$1" && dpkg-scanpackages -m . >Packages 2>/dev/null)
  echo "deb [trusted=yes] file:$1 ./" >"$root/etc/apt/sources.list.d/nivra.list"
  apt update -o Dir::Etc::SourceList=sources.list.d/nivra.list -o Dir::Etc::SourceParts=- -o APT::Get::List-Cleanup=0
}
# All paths but for what apt and dpkg note down.
paths() { (cd "$root" && find . -xdev -regextype egrep \
  -regex '\./(proc|sys|dev|tmp|packages|newer|var/(cache|log|lib/(apt|dpkg)))' -prune -o -print | LC_ALL=C sort); }
expect_paths() { # name of the list, when
  paths | diff "$scratch/$1" - >"$scratch/log" || { head -n 20 "$scratch/log"; echo "these paths differ $2"; exit 1; } >&2
}

echo "== Copying the bare Debian"
cp -a "$cache/root" "$root"
mkdir -p "$cache/archives" "$root/packages" "$root/newer" "$root/source"
cp -r "$cache/archives" "$root/var/cache/apt"
cp "$packages"/*.deb "$root/packages"
tar -xf "$packages"/*.tar.xz -C "$root/source" --strip-components 1
for deb in "$packages"/*.deb; do [[ $deb == *-dbgsym_* ]] || make_newer "$deb"; done

run() { # test, as somebody who may not write anywhere else
  quietly in_root install -d -o nobody "/tmp/$1"
  quietly inside "$root" --userspec=nobody "$root" \
    env HOME="/tmp/$1" AUTOPKGTEST_TMP="/tmp/$1" bash -c "cd /source && exec debian/tests/$1"
  rm -rf "$root/tmp/${1:?}"
}

apt update
offer /packages
paths >"$scratch/before"
for package in $(sed -n 's/^Package: //p' debian/control); do
  echo "== $package is installed, upgraded and purged"
  apt install --mark-auto "$package"
  paths >"$scratch/installed"
  offer /newer
  apt dist-upgrade
  [ "$(in_root dpkg-query -W -f '${Version}' "$package")" = "$newer_version" ] ||
    { echo "$package was not upgraded" >&2; exit 1; }
  expect_paths installed "after the upgrade"
  apt purge "$package"
  apt autoremove --purge
  expect_paths before "after it was purged, with what it needed"
  offer /packages
done

# As it is written there: one test in each stanza, all that it depends on in one line.
sed -n 's/^Tests: //p' debian/tests/control | while read -r test; do
  echo "== The test $test"
  # shellcheck disable=SC2046  # words are packages
  apt install $(sed -n "/^Tests: $test\$/,/^\$/s/^Depends: //p" debian/tests/control | tr -d ,) </dev/null
  run "$test" </dev/null
done
echo "== All packages passed"
