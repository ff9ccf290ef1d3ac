#!/usr/bin/env bash
# Runs the command blocks of README.md in order, as somebody new would: in a Debian 12 that has nothing but git, in a
# clone of what is committed here. Needs root and the package debootstrap, and takes Debian from the mirror that this
# machine's apt uses.
# usage: test-readme.sh [--all], which also runs scripts/test.sh where README.md does, and takes as long
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
leave_out='^scripts/test\.sh'
case "${1:-}" in
  '') ;;
  --all) leave_out='^$' ;;
  *) echo "usage: $0 [--all]" >&2; exit 2 ;;
esac
[ "$(id -u)" -eq 0 ] || { echo "error: needs root" >&2; exit 1; }
command -v debootstrap >/dev/null || { echo "error: needs debootstrap: apt-get install debootstrap" >&2; exit 1; }

suite=bookworm
mirror=$(apt-get indextargets --format '$(ORIGIN) $(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
  awk -v suite="$suite" '$1 == "Debian" && $2 == suite { print $3; exit }')
[ "$mirror" ] || { echo "error: apt has no lists of Debian's $suite here: apt-get update" >&2; exit 1; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
bare=$scratch/bare
echo "== Unpacking Debian $suite and git"
debootstrap --variant=minbase --include=git "$suite" "$bare" "$mirror" >"$scratch/log" 2>&1 ||
  { tail "$scratch/log" >&2; exit 1; }
git clone --quiet --depth 1 "file://$root" "$bare/nivra"

# What is mounted inside goes with the process. Of this machine's environment, only the way to the network holds there.
environment=(HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin)
for name in http_proxy https_proxy no_proxy; do environment+=("$name=${!name:-}"); done
inside() {
  unshare --mount -- env -i "${environment[@]}" bash -c 'mount -t proc proc "$0/proc" && exec chroot "$@"' "$bare" "$@"
}

echo "== What to install is told where nobody may"
if inside --userspec=nobody "$bare" /nivra/scripts/install-dependencies.sh build 2>"$scratch/log" ||
  ! grep -q '^As root: .*apt-get install .* g++ .*ninja-build' "$scratch/log"; then
  echo "install-dependencies.sh did not tell it:" >&2
  cat "$scratch/log" >&2
  exit 1
fi

# Files that README.md expects readers to have, and the path that it names in a sentence.
{
  echo 'set -euxo pipefail; cd /nivra; PATH=$PWD/build/demo/tools/nivra:$PWD/build/worker/worker:$PATH'
  echo 'cp examples/data/plaza/*t/*t.txt .; mkdir -p path/to/sequences; cp -r examples/data/plaza path/to/sequences'
  sed -n '/^```sh$/,/^```$/{/^```/d;p}' "$bare/nivra/README.md" | grep -v "$leave_out"
} >"$bare/blocks.sh"
echo "== Running the blocks"
inside "$bare" bash /blocks.sh
echo "== All blocks of README.md passed"
