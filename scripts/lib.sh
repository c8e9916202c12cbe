# Shared by the scripts in this folder; source it, don't run it.
# shellcheck shell=bash

repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '%s\n' "$*" >&2; }
fail() { say "error: $*"; exit 1; }

# packages_of GROUP …: the packages of these groups, one a line.
packages_of() {
  local group
  for group in "$@"; do
    sed -n "s/^$group: //p" "$repository/scripts/packages" | tr ' ' '\n'
  done
}

# ensure_packages GROUP …: installs what is missing, and says so; silent when nothing is.
ensure_packages() {
  local wanted missing=() package installed as_root=()
  mapfile -t wanted < <(packages_of "$@")
  # One question for all of them: asking for each costs half a second. It fails when it has never heard of one.
  installed=" $(dpkg-query -W -f '${Package}/${db:Status-Status} ' "${wanted[@]}" 2>/dev/null || true)"
  for package in "${wanted[@]}"; do
    [[ $installed == *" $package/installed "* ]] || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  command -v apt-get >/dev/null || fail "these packages are missing and there is no apt-get to install them: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "run this as root once, or install sudo; missing packages: ${missing[*]}"
    as_root=(sudo)
  fi
  say "Installing ${#missing[@]} packages (once): ${missing[*]}"
  local log; log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update -qq &&
         "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    tail -n 20 "$log" >&2; rm -f "$log"
    fail "the packages could not be installed"
  fi
  rm -f "$log"
}

# build PRESET [TARGET …]: configures when needed and builds; prints the folder's path on success.
build() {
  # The same source compiles to the same object in every clone, so one clone's cache serves the next.
  export CCACHE_BASEDIR=$repository CCACHE_NOHASHDIR=1
  local preset=$1; shift
  local folder="$repository/build/$preset" log
  log=$(mktemp)
  (
    cd "$repository" || exit 1
    cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
    if [ -t 2 ]; then cmake --build "$folder" ${1:+--target "$@"} >&2
    else cmake --build "$folder" ${1:+--target "$@"} >"$log" 2>&1 || { grep -vE '^\[[0-9]+/[0-9]+\] ' "$log" | tail -n 80 >&2; exit 1; }
    fi
  ) || { rm -f "$log"; return 1; }
  rm -f "$log"
  printf '%s\n' "$folder"
}
