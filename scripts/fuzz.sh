#!/usr/bin/env bash
# Builds the fuzz targets with Clang's libFuzzer under the address and undefined behaviour
# sanitizers and runs each of them.
#
# usage: fuzz.sh [SECONDS]        of each target; 600 if not given
#
# Inputs that led to new paths stay in build-fuzz/corpus/ and are the start of the next run. A
# finding ends the script with status 1 and its input stays in build-fuzz/findings/: give that file
# to the target as its only argument to see it again.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1-600}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: ${0##*/} [SECONDS]" >&2
  exit 2
fi

scripts/install_packages.sh
{ cmake --preset fuzz && cmake --build --preset fuzz --target fuzzers; } >build-fuzz.log 2>&1 || {
  tail -n 60 build-fuzz.log >&2
  exit 1
}

corpus=build-fuzz/corpus
findings=build-fuzz/findings
mkdir -p "$findings"
build-fuzz/tests/fuzz/fuzz_seeds "$corpus"
run() {
  local target=$1 log=build-fuzz/$1.log
  if ! build-fuzz/tests/fuzz/"$target" -max_total_time="$seconds" -max_len=4096 -timeout=10 \
    -use_value_profile=1 -print_final_stats=1 -artifact_prefix="$findings/" "$corpus/$target" \
    >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    echo "$target found something; its input is in $findings/" >&2
    return 1
  fi
  echo "== $target for $seconds s
$(grep -E 'INITED|stat::number_of_executed_units|stat::average_exec' "$log")
$(grep -E '^#.*(NEW|REDUCE|pulse|DONE)' "$log" | tail -n 1)"
}
export -f run
export seconds corpus findings
printf '%s\n' wpak_fuzz prefix_fuzz dynp_fuzz join_fuzz group_key_fuzz |
  xargs -P "$(nproc)" -I{} bash -c 'run "$1"' - {}
