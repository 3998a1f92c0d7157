#!/usr/bin/env bash
# Builds and runs the tests, with all set-up a fresh Debian 12 needs.
#
# usage: test.sh [--all]
#
# Builds as a newcomer would and runs the demo, then the fuzz targets for 10 seconds each (fuzz.sh
# for longer), the suite under AddressSanitizer and UndefinedBehaviorSanitizer, the release suite,
# the Arrow data interface against DuckDB (a line says so where that cannot be had), and on an
# emulated baseline processor those tests of the suite that end within seconds there.
# --all adds, one variant at a time, the debug build, the Clang build and ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

variants=(asan release)
case "${1-}" in
  "") ;;
  --all) variants=(debug clang tsan asan release) ;;
  *)
    echo "usage: ${0##*/} [--all]" >&2
    exit 2
    ;;
esac

scripts/install_packages.sh

echo "== plain build"
cmake -S . -B build >build.log && cmake --build build -j "$(nproc)" >>build.log || {
  cat build.log
  exit 1
}

echo "== demo"
scripts/demo.sh

echo "== fuzz targets"
scripts/fuzz.sh 10

for variant in "${variants[@]}"; do
  echo "== $variant: build"
  cmake --preset "$variant" >"build-$variant.log" 2>&1 || {
    cat "build-$variant.log"
    exit 1
  }
  cmake --build --preset "$variant" >>"build-$variant.log" 2>&1 || {
    grep -E 'error|warning|FAILED' -A 5 "build-$variant.log" | head -60
    exit 1
  }
  echo "== $variant: tests"
  ctest --preset "$variant" --output-on-failure -j "$(nproc)"
done

echo "== Arrow data interface, with DuckDB"
scripts/check_arrow.sh

echo "== baseline processor"
scripts/baseline.sh
