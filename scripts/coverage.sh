#!/usr/bin/env bash
# Shows which lines and branches of src/ the tests reach, and fails below the least share. Branches that only an
# exception takes don't count.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-dependencies.sh coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage

# Counts of earlier runs would add up with those of this one.
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -E 'Packaging|Documents'

report=(gcovr --filter src/ --exclude-throw-branches --exclude-unreachable-branches build/coverage)
"${report[@]}"
"${report[@]}" --branches --print-summary --fail-under-line 95 --fail-under-branch 90
