#!/usr/bin/env bash
# Makes the site in build/docs/html: the guides, the programs' manuals, and the references. Warnings are errors, among
# them names without a description and links to nowhere.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh docs
site=build/docs
rm -rf "$site"
mkdir -p "$site/source/reference" "$site/html"

# Pages stand in the project as they are read without a site as well, and link to each other alike.
cp -r README.md ARCHITECTURE.md CONTRIBUTING.md CHANGELOG.md LICENSE docs examples "$site/source"
cp docs/site/index.md "$site/source/index.md"
for name in nivra nivra-worker; do
  {
    printf '# %s(1)\n\n' "$name"
    mandoc -T markdown "docs/$name.1" | sed -e '1,/^# NAME/{/^# NAME/!d}' -e 's/^#/##/'
  } >"$site/source/reference/$name.1.md"
done
cp docs/site/{cpp-reference,python}.md "$site/source/reference"

doxygen docs/site/Doxyfile
# Descriptions of what Python has from C++ are in the module.
cmake --preset release -D NIVRA_BUILD_PYTHON=ON >/dev/null
cmake --build --preset release --target nivra_python >/dev/null
PYTHONPATH=build/release/python /usr/bin/python3 -m sphinx -q -W --keep-going -c docs/site -b html "$site/source" "$site/html"
scripts/check-links.py "$site/html"
echo "The site is in $site/html/index.html"
