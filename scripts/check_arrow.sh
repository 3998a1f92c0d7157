#!/usr/bin/env bash
# Checks columns in and out through the Arrow C data interface against an implementation of it that
# is not ours: DuckDB hands tables over and takes results back, and says whether they are right.
#
# usage: check_arrow.sh [BUILD_FOLDER]      where the tests were built; build-release if not given
#
# Installs DuckDB's Node binding, whose shared library it loads, from npm into the build folder,
# once, and npm first where that is missing. Where it cannot be had the last line says so and the
# script ends well: nothing was checked.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
program=${1-build-release}/tests/arrow/duckdb_arrow_check
package=@duckdb/node-api@1.5.6-r.1 # functions that it deprecates are called
work=$root/build/duckdb
library=$work/node_modules/@duckdb/node-bindings-linux-x64/libduckdb.so

[ -x "$program" ] || {
  echo "$program is not built" >&2
  exit 2
}

not_to_be_had() {
  echo "DuckDB could not be had: $1. The Arrow interface was not checked against it."
  exit 0
}

if [ ! -f "$library" ]; then
  scripts/install_packages.sh npm || not_to_be_had "npm is missing"
  mkdir -p "$work"
  timeout 300 npm install --prefix "$work" --no-audit --no-fund --fetch-retries=1 "$package" \
    >"$work/npm.log" 2>&1 ||
    not_to_be_had "npm could not install $package ($(grep -m 1 'code' "$work/npm.log" ||
      echo "it took too long"))"
  [ -f "$library" ] || not_to_be_had "the package holds no library for this machine"
fi

exec "$program" "$library" --gtest_brief=1
