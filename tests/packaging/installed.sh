# Sourced by what tries an installed library as a stranger would; runs in $work_dir, which holds examples/host.

fail() { echo "$*" >&2; exit 1; }
quietly() { "$@" >"$work_dir/output" 2>&1 || { cat "$work_dir/output"; fail "failed: $*"; }; }
expect() { # what is compared, expected, actual
  [ "$2" = "$3" ] || fail "$1: expected"$'\n'"$2"$'\n'"but there is"$'\n'"$3"
}
expect_hosts() { # how many
  [ "$(grep -c "frame 49: identity 0 .*confident" log)" -eq "$1" ] ||
    { cat log; fail "expected $1 hosts that track, but they printed this"; }
}

# Runs the blocks of README.md about an installed library, as they stand there but for the prefix.
run_readme_hosts() { # README.md, prefix, folder of the library in it
  local blocks
  blocks=$(sed -n '/^## Embed it/,/^## /{/^```sh$/,/^```$/p}' "$1" |
    sed "/^\`\`\`/d; s|/opt/nivra/lib|$3|g; s|/opt/nivra|$2|g")
  mkdir build
  bash -ec "$blocks" >log 2>&1 || { cat log; exit 1; }
  expect_hosts 3
}

# Builds the program that docs/c.md begins with in the ways that the page shows, and runs it.
run_c_program() { # docs/c.md, then what CMake is to know
  first_block() { sed -n "/^\`\`\`$2\$/,/^\`\`\`\$/{/^\`\`\`\$/q; /^\`\`\`/!p}" "$1"; }
  mkdir program
  first_block "$1" c >program/program.c
  { echo 'cmake_minimum_required(VERSION 3.20)' && first_block "$1" cmake; } >program/CMakeLists.txt
  (cd program && bash -ec "$(first_block "$1" sh)") >log
  quietly cmake -S program -B program/build "${@:2}"
  quietly cmake --build program/build
  program/build/program >>log
  expect "programs in C" "$(printf 'identity 0 is confirmed\n%.0s' 1 2)" "$(cut -d, -f1 log)"
}
