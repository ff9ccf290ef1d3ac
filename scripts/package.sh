#!/usr/bin/env bash
# Builds the Debian packages and the source tarball of all tracked files, as they stand here, into build/packages, and
# has lintian look at them: an error or a warning of its own fails. Debian 12.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh package
version=$(dpkg-parsechangelog -S Version)
numbers=$(grep -oP '#define NIVRA_VERSION_[A-Z]+ \K\d+' include/nivra/version.h | paste -sd .)
[ "$version" = "$numbers" ] ||
  { echo "error: debian/changelog is of $version, but include/nivra/version.h of $numbers" >&2; exit 1; }

building=$PWD/build/packages.new
rm -rf "$building"
scripts/clean-copy.sh "$building/nivra-$version"

cd "$building/nivra-$version"
# By Debian's own programs, whatever else comes earlier in the path.
PATH=/usr/sbin:/usr/bin:/sbin:/bin dpkg-buildpackage -us -uc >"$building/build.log" 2>&1 ||
  { tail -n 50 "$building/build.log" | cut -c -200 >&2; exit 1; }
cd ..
lintian --allow-root --fail-on error,warning --tag-display-limit 0 ./*.changes
rm -rf "nivra-$version"
sha256sum -- *.deb *.tar.* *.dsc >SHA256SUMS
rm -rf ../packages
mv "$building" ../packages
echo "build/packages:"
ls ../packages
