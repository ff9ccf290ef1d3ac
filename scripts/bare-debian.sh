# Sourced by scripts that try things in a Debian that has nothing yet. Needs root and the package debootstrap, and takes
# Debian from the mirror that this machine's apt uses.

[ "$(id -u)" -eq 0 ] || { echo "error: needs root" >&2; exit 1; }
command -v debootstrap >/dev/null || { echo "error: needs debootstrap: apt-get install debootstrap" >&2; exit 1; }

make_bare_debian() { # folder, packages with commas between them
  local suite=bookworm mirror
  mirror=$(apt-get indextargets --format '$(ORIGIN) $(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
    awk -v suite="$suite" '$1 == "Debian" && $2 == suite { print $3; exit }')
  [ "$mirror" ] || { echo "error: apt has no lists of Debian's $suite here: apt-get update" >&2; exit 1; }
  echo "== Unpacking Debian $suite"
  debootstrap --variant=minbase ${2:+--include="$2"} "$suite" "$1" "$mirror" >"$1.log" 2>&1 ||
    { tail "$1.log" >&2; exit 1; }
  echo '127.0.0.1 localhost' >"$1/etc/hosts"  # as an installed Debian has it
}

# What is mounted inside goes with the process. Of this machine's environment, only the way to the network holds there.
inside() { # folder, then what chroot takes, that folder once more included
  local environment=(HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive)
  for name in http_proxy https_proxy no_proxy; do environment+=("$name=${!name:-}"); done
  unshare --mount -- env -i "${environment[@]}" bash -c 'mount -t proc proc "$0/proc" && exec chroot "$@"' "$@"
}
