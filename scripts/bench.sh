#!/usr/bin/env bash
# Builds the benchmarks, runs them and writes the report: what every kernel family does beside a
# plain loop and a bandwidth limit, plots, targets, library size, memory, GCC beside Clang.
#
# usage: bench.sh [program-name-part] [--compilers] [--duckdb] [options of the benchmark programs]
#
#   scripts/bench.sh                               all of it, some 15 minutes; the report is
#                                                  docs/performance.md with docs/plots/
#   scripts/bench.sh --quick                       fewer rounds, no comparison of compilers
#   scripts/bench.sh dict_scan '--filter=_13bit'   one program, the cases that match kernel/size
#   scripts/bench.sh dict_scan --compilers         that, and the builds of GCC and Clang in turns
#   scripts/bench.sh --report-only                 writes the last run's report again
#
# All but a whole run leave docs/ alone and write build-release/bench-report/performance.md. Raw
# figures are in build-release/bench-results/, of the last run only. A whole run compares with
# DuckDB, too, if it can be installed from npm. It loads tables that take some 12 GiB of memory.
#
# Take figures on an idle machine. Ratios are taken within a run, so they stand a busy one, too; if
# the spreads grow past some percent, run again.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build-release
results=$build/bench-results
report=$build/bench-report/performance.md

wanted= whole=yes compilers= duckdb= report_only=
note="A part of the benchmark, or fewer rounds: figures to work with."
options=()
if [ $# -gt 0 ] && [[ $1 != -* ]]; then
  wanted=$1 whole=
  shift
fi
for argument in "$@"; do
  case "$argument" in
    -h | --help)
      sed -n '/^# usage/,/^set /s/^# \{0,1\}//p' "scripts/${0##*/}"
      exit
      ;;
    --compilers) compilers=yes ;;
    --duckdb) duckdb=yes ;;
    --report-only) report_only=yes ;;
    *) options+=("$argument") whole= ;;
  esac
done
if [ -n "$whole" ]; then
  compilers=yes duckdb=yes note= report=docs/performance.md
fi

programs=()
for source in bench/*"$wanted"*_bench.cpp; do
  [ -e "$source" ] && programs+=("$(basename "$source" .cpp)")
done
[ -n "$wanted" ] && [[ column_memory != *"$wanted"* ]] || programs+=(column_memory)
if [ ${#programs[@]} -eq 0 ]; then
  echo "no benchmark has $wanted in its name" >&2
  exit 2
fi

build_with() { # <preset> <target>...
  cmake --preset "$1" >"build-bench-$1.log" 2>&1 &&
    cmake --build --preset "$1" --target "${@:2}" >>"build-bench-$1.log" 2>&1 || {
    cat "build-bench-$1.log" >&2
    exit 1
  }
}

compare_duckdb() {
  echo "== DuckDB"
  local csv=$PWD/$results/duckdb.csv
  scripts/compare_duckdb.sh --csv "$csv" && return
  if grep -qs ',false$' "$csv"; then
    echo "DuckDB answered a query with other rows." | tee "$results/duckdb.txt" >&2
    status=1
  else
    echo "Not compared: DuckDB could not be installed or run." >"$results/duckdb.txt"
  fi
  rm -f "$csv"
}

scripts/install_packages.sh
status=0
if [ -z "$report_only" ]; then
  build_with release "${programs[@]}" colx_x86
  [ -z "$compilers" ] || build_with clang "${programs[@]}"
  rm -rf "$results"
  mkdir -p "$results"
  printf '%s\n%s\n' "$report" "$note" >"$results/report.txt"
  python3 -B bench/report/machine.py . "$build" >"$results/facts.json"
  python3 -B bench/report/run_benchmarks.py "$build" "$results" "${programs[@]}" \
    -- ${options[@]+"${options[@]}"} || status=1
  if [ -n "$compilers" ]; then
    python3 -B bench/report/run_benchmarks.py --compilers . "$results" "${programs[@]}" || status=1
  fi
  [ -z "$duckdb" ] || compare_duckdb
fi
{ read -r report && read -r note; } <"$results/report.txt"
python3 -B bench/report/write_report.py "$results" "$report" --build "$build" --note "$note" ||
  status=1
echo "raw figures are in $results, the report is $report"
exit $status
