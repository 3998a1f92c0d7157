#!/usr/bin/env bash
# Builds the benchmarks and runs them: a table of cases and a table of targets each, raw figures as
# CSV in build-release/bench-results/.
#
# usage: bench.sh [program-name-part] [options of the benchmark programs]
#
#   scripts/bench.sh                               every program, some minutes
#   scripts/bench.sh --quick                       fewer rounds
#   scripts/bench.sh dict_scan '--filter=_13bit'   one program, the cases that match kernel/size
#
# Take figures on an idle machine. Ratios are taken within a run, so they stand a busy one, too; if
# the spreads grow past some percent, run again.
set -euo pipefail
cd "$(dirname "$0")/.."

wanted=
if [ $# -gt 0 ] && [[ $1 != -* ]]; then
  wanted=$1
  shift
fi

programs=()
for source in bench/*"$wanted"*_bench.cpp; do
  [ -e "$source" ] && programs+=("$(basename "$source" .cpp)")
done
if [ ${#programs[@]} -eq 0 ]; then
  echo "no benchmark has $wanted in its name" >&2
  exit 2
fi

scripts/install_packages.sh
cmake --preset release >build-bench.log 2>&1 &&
  cmake --build --preset release --target "${programs[@]}" >>build-bench.log 2>&1 || {
  cat build-bench.log
  exit 1
}

results=build-release/bench-results
mkdir -p "$results"
status=0
for program in "${programs[@]}"; do
  echo "== $program"
  build-release/bench/"$program" --csv="$results/$program.csv" "$@" || status=1
done
echo "raw figures are in $results"
exit $status
