#!/usr/bin/env bash
# Builds and runs the tests, with all set-up a fresh Debian 12 needs.
#
# usage: test.sh [--all]
#
# Builds as a newcomer would and runs the demo, then the release suite in the same folder, the Arrow
# data interface against DuckDB (a line says so where that cannot be had), on an emulated baseline
# processor those tests of the suite that end within seconds there, the sweeps of all kernels and
# the tests of the host toolkit under AddressSanitizer and UndefinedBehaviorSanitizer, and the fuzz
# targets for 10 seconds each (fuzz.sh for longer). Within 15 minutes on 2 cores.
#
# --all adds the slow tests on the baseline processor and, one variant at a time, the whole suite of
# the presets debug, clang, asan and release, benchmarks built and warnings as errors, the tests
# with threads under ThreadSanitizer, and the benchmark of one family with its report.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1-}" in
  "" | --all) ;;
  *)
    echo "usage: ${0##*/} [--all]" >&2
    exit 2
    ;;
esac

scripts/install_packages.sh

# quietly LOG COMMAND...: shows the output, which goes to LOG, only of a command that fails.
quietly() {
  local log=$1
  shift
  "$@" >"$log" 2>&1 || {
    grep -E 'error|warning|FAILED' -A 5 "$log" | head -60 || tail -n 60 "$log"
    echo "failed: $*; its output is in $log"
    exit 1
  }
}

# suite NAME OPTION...: the tests that ctest finds with the options. What it says of all of them is
# shown once more when the script ends.
passed=
suite() {
  local name=$1 log=build-$1-tests.log
  shift
  echo "== $name: tests"
  ctest "$@" --output-on-failure -j "$(nproc)" | tee "$log"
  passed+="$name: $(grep ' tests passed, ' "$log")"$'\n'
}

# variant PRESET LABELS TARGET...: builds the targets of a preset and runs the tests of the labels,
# every test, also one without a label, if LABELS is empty.
variant() {
  local preset=$1 labels=$2
  shift 2
  echo "== $preset: build"
  quietly "build-$preset.log" cmake --preset "$preset"
  quietly "build-$preset.log" cmake --build --preset "$preset" --target "$@"
  suite "$preset" --preset "$preset" ${labels:+-L "$labels"}
}

echo "== plain build"
quietly build.log cmake -S . -B build
quietly build.log cmake --build build -j "$(nproc)"

echo "== demo"
scripts/demo.sh

# The library and the demo are there already; nothing may have been warned about.
echo "== plain: build of the tests"
quietly build-tests.log cmake -S . -B build -DCOLX_TESTS=ON
quietly build-tests.log cmake --build build -j "$(nproc)"
if grep 'warning:' build.log build-tests.log; then
  exit 1
fi
suite plain --test-dir build

echo "== Arrow data interface, with DuckDB"
scripts/check_arrow.sh build

echo "== baseline processor"
scripts/baseline.sh build "$@"

if [ "${1-}" = --all ]; then
  for preset in debug clang asan release; do
    variant "$preset" '' all
  done
  variant tsan 'threads|host|examples' threads_test join_threads_test moving_threads_test \
    tests_of_host tests_of_examples
  echo "== benchmark of one family, with its report"
  scripts/bench.sh pip --quick
else
  # AddressSanitizer stops at null pointers and past the ends of objects, too; the other sanitizer's
  # own checks of these, left out here, are a third of the time that compiling the kernels takes.
  variant asan-quick 'contract|host' tests_of_contract tests_of_host
fi

echo "== fuzz targets"
scripts/fuzz.sh 10

printf "== passed\n%s" "$passed"
