#!/usr/bin/env bash
# Builds the library and the demo host, with all set-up a fresh Debian 12 needs, and runs the demo:
# a table of 600,000 rows in compressed column vectors, queried through libcolx_x86.so and checked
# row by row and against SQLite.
#
# usage: demo.sh [OPTION of colx_star]...        demo.sh --help lists them
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build
log=$build/build.log

"$root/scripts/install_packages.sh" demo

mkdir -p "$build"
echo "building in $build" >&2
if ! { cmake -S "$root" -B "$build" &&
  cmake --build "$build" -j "$(nproc)" --target colx_x86 colx_star; } >"$log" 2>&1; then
  tail -n 40 "$log" >&2
  echo "the build failed; all of its output is in $log" >&2
  exit 1
fi
exec "$build/examples/star/colx_star" --check sqlite "$@"
