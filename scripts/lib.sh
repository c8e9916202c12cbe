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

# apt_get COMMAND…: by way of the caller's `as_root`, into the caller's `log`. While another program holds one of
# apt's locks, it is waited for, up to a quarter of an hour; apt itself can wait for dpkg's alone.
apt_get() {
  local deadline=$((SECONDS + 900)) told=no
  until "${as_root[@]}" env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=5 "$@" >"$log" 2>&1; do
    grep -qE 'Could not get lock|another process' "$log" && [ $SECONDS -lt $deadline ] || return 1
    [ $told = yes ] || say "Another program is busy with the system's packages; waiting for it …"
    told=yes
    sleep 1
  done
}

# ensure_packages GROUP …: installs what is missing, and says so; silent when nothing is.
ensure_packages() {
  local wanted missing=() package installed as_root=() log
  mapfile -t wanted < <(packages_of "$@")
  # One question for all of them: asking for each costs half a second. It fails when it has never heard of one.
  installed=" $(dpkg-query -W -f '${Package}/${db:Status-Status} ' "${wanted[@]}" 2>/dev/null || true)"
  for package in "${wanted[@]}"; do
    [[ $installed == *" $package/installed "* ]] || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  command -v apt-get >/dev/null || fail "these packages are missing and there is no apt-get to install them: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo)
    if ! command -v sudo >/dev/null || ! sudo true; then
      fail "${#missing[@]} packages are missing, and $(id -un) may not install them. Somebody who may can do it so:
  su -c 'apt-get update && apt-get install --no-install-recommends ${missing[*]}'"
    fi
  fi
  say "Installing ${#missing[@]} packages (once): ${missing[*]}"
  log=$(mktemp)
  if ! { apt_get update && apt_get install -y --no-install-recommends "${missing[@]}"; }; then
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
