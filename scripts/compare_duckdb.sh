#!/usr/bin/env bash
# Runs the benchmark's thirteen queries here and in DuckDB, one thread each, on the same tables;
# compares every row of the answers and prints how many times as long DuckDB takes.
#
# usage: compare_duckdb.sh [SCALE]          scale factor, 1 if none is given
#
# Installs DuckDB's Node binding from npm into the build folder; needs node and npm.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
scale=${1-1}
work=$root/build/duckdb

for tool in node npm; do
  command -v "$tool" >/dev/null || {
    echo "$tool is missing: install Debian's nodejs and npm" >&2
    exit 2
  }
done
"$root/scripts/install_packages.sh" demo
mkdir -p "$work/tables"
cmake -S "$root" -B "$root/build" >"$work/build.log" 2>&1 &&
  cmake --build "$root/build" -j "$(nproc)" --target colx_x86 colx_star >>"$work/build.log" 2>&1 || {
  tail -n 40 "$work/build.log" >&2
  exit 1
}
[ -d "$work/node_modules/@duckdb/node-api" ] ||
  npm install --prefix "$work" --no-audit --no-fund --silent @duckdb/node-api

star=$root/build/examples/star/colx_star
"$star" --scale "$scale" --export "$work/tables"
"$star" --scale "$scale" --threads 1 --repeat 7 --answers "$work/answers.json" >"$work/answers.log"
NODE_PATH=$work/node_modules exec node "$root/scripts/compare_duckdb.js" "$work/tables" \
  "$work/answers.json"
