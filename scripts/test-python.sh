#!/usr/bin/env bash
# Builds the Python package in the ways that people do, of a clean copy: a source archive, a wheel of that, and by pip
# with the build's tools in an environment of their own, for which pip needs an index or PIP_FIND_LINKS with setuptools,
# wheel and pybind11. Each is installed in a new virtual environment, and passes the tests of the source archive.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-dependencies.sh test
scripts/install-dependencies.sh python
cmake --preset release >/dev/null
cmake --build --preset release --target nivra_cli >/dev/null
NIVRA_TOOL=$PWD/build/release/tools/nivra/nivra
export NIVRA_TOOL

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
quietly() { "$@" >"$scratch/log" 2>&1 || { tail -n 40 "$scratch/log"; echo "failed: $*"; exit 1; } >&2; }
scripts/clean-copy.sh "$scratch/copy"
cd "$scratch"

echo "== A source archive, and a wheel of it"
quietly /usr/bin/python3 -m build --no-isolation --outdir dist copy
mkdir unpacked
tar -xf dist/*.tar.gz -C unpacked --strip-components 1

try() { # name, then what pip installs, from the copy
  /usr/bin/python3 -m venv --system-site-packages "$1"
  (cd copy && quietly "../$1/bin/pip" install --no-deps "${@:2}")
  echo "== $1 is tested"
  # Away from the sources, so that the package is the one that is installed.
  (cd unpacked/python/tests && "../../../$1/bin/python" -B -m pytest -q -p no:cacheprovider .)
  quietly "$1/bin/pip" uninstall -y nivra
  [ -z "$(find "$1" -name '*nivra*')" ] || { echo "$1: there is something left" >&2; exit 1; }
}
try wheel "$PWD"/dist/*.whl
try pip-without-isolation --no-build-isolation .
if /usr/bin/python3 -m pip download -q --retries 0 --no-deps -d downloaded pybind11 2>/dev/null; then
  try pip-with-isolation .
else
  echo "== pip finds no pybind11: not tried with isolation"
fi
