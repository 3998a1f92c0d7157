#!/usr/bin/env bash
# Runs the benchmark's thirteen queries here and in DuckDB, one thread each, on the same tables;
# compares every row of the answers and prints how many times as long DuckDB takes.
#
# usage: compare_duckdb.sh [--csv FILE] [SCALE]
#
#   SCALE        scale factor, 1 if none is given
#   --csv FILE   writes the table there as well: query,colx_ms,duckdb_ms,ratio,same_rows, the mean
#                last
#
# Installs DuckDB's Node binding from npm into the build folder.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
csv=
if [ "${1-}" = --csv ]; then
  if [ $# -lt 2 ]; then
    echo "usage: ${0##*/} [--csv FILE] [SCALE]" >&2
    exit 2
  fi
  csv=$(realpath "$2")
  shift 2
fi
scale=${1-1}
if [ $# -gt 1 ] || ! [[ $scale =~ ^[0-9]*\.?[0-9]+$ ]]; then
  echo "usage: ${0##*/} [--csv FILE] [SCALE]" >&2
  exit 2
fi
work=$root/build/duckdb

"$root/scripts/install_packages.sh" npm
"$root/scripts/install_packages.sh" demo
mkdir -p "$work/tables"
{
  cmake -S "$root" -B "$root/build" &&
    cmake --build "$root/build" -j "$(nproc)" --target colx_x86 colx_star
} >"$work/build.log" 2>&1 || {
  tail -n 40 "$work/build.log" >&2
  exit 1
}
[ -d "$work/node_modules/@duckdb/node-api" ] ||
  npm install --prefix "$work" --no-audit --no-fund --silent @duckdb/node-api

star=$root/build/examples/star/colx_star
"$star" --scale "$scale" --export "$work/tables"
"$star" --scale "$scale" --threads 1 --repeat 7 --answers "$work/answers.json" >"$work/answers.log"
NODE_PATH=$work/node_modules exec node "$root/scripts/compare_duckdb.js" "$work/tables" \
  "$work/answers.json" ${csv:+"$csv"}
