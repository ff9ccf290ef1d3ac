#!/usr/bin/env bash
# Runs the command blocks of README.md in order, as somebody new would: in a Debian 12 that has nothing but git, in a
# clone of what is committed here.
# usage: test-readme.sh [--all], which also runs scripts/test.sh where README.md does, and takes as long
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
leave_out='^scripts/test\.sh'
case "${1:-}" in
  '') ;;
  --all) leave_out='^$' ;;
  *) echo "usage: $0 [--all]" >&2; exit 2 ;;
esac
. "$root/scripts/bare-debian.sh"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
bare=$scratch/bare
make_bare_debian "$bare" git
git clone --quiet --depth 1 "file://$root" "$bare/nivra"

echo "== What to install is told where nobody may"
if inside "$bare" --userspec=nobody "$bare" /nivra/scripts/install-dependencies.sh build 2>"$scratch/log" ||
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
inside "$bare" "$bare" bash /blocks.sh
echo "== All blocks of README.md passed"
