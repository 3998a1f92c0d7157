#!/usr/bin/env bash
# Makes sure that the Debian packages which the project needs are there. The one list of them.
#
# usage: install_packages.sh [demo|all|npm]
#
#   demo  to build the library and the demo host
#   all   also the tests, the benchmarks and the Clang variants (default)
#   npm   node and npm, by which DuckDB is fetched, where they are not there already
#
# Installs what is missing through apt if it may (as root, or with a sudo that asks for no
# password). Otherwise says what to install and ends with status 1. Silent if nothing is missing.
set -euo pipefail

demo=(gcc g++ cmake make ninja-build libcli11-dev libfmt-dev libsqlite3-dev
  libxxhash-dev)
all=("${demo[@]}" binutils clang clang-format clang-tidy cppcheck doxygen dpkg-dev file
  gnuplot-nox libclang-rt-dev libgtest-dev libbenchmark-dev liblz4-dev libzstd-dev pkgconf
  python3 qemu-user)
npm=(nodejs npm)

case "${1-all}" in
  demo) wanted=("${demo[@]}") ;;
  all) wanted=("${all[@]}") ;;
  npm)
    wanted=("${npm[@]}")
    if command -v node && command -v npm; then exit 0; fi >/dev/null
    ;;
  *)
    echo "usage: ${0##*/} [demo|all|npm]" >&2
    exit 2
    ;;
esac

if ! command -v dpkg-query >/dev/null; then
  echo "This is no Debian system, so nothing is installed. Needed are the counterparts of:" >&2
  echo "  ${wanted[*]}" >&2
  exit 0 # they may well be there: the build will tell
fi

missing=()
for package in "${wanted[@]}"; do
  status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

if [ "$(id -u)" -eq 0 ]; then
  as_root=()
elif sudo -n true 2>/dev/null; then
  as_root=(sudo -n)
else
  echo "Some packages are missing. Please run this and try again:" >&2
  echo "  sudo apt-get install ${missing[*]}" >&2
  exit 1
fi

echo "installing ${missing[*]}"
apt_get() {
  ${as_root[@]+"${as_root[@]}"} env DEBIAN_FRONTEND=noninteractive \
    apt-get -qq -o=Dpkg::Use-Pty=0 "$@"
}
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { apt_get update && apt_get install -y --no-install-recommends "${missing[@]}"; } \
  >"$log" 2>&1; then
  cat "$log" >&2
  echo "apt could not install: ${missing[*]}" >&2
  exit 1
fi
