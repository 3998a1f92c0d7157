#!/usr/bin/env bash
# Builds the fuzz targets with Clang's libFuzzer under the address and undefined behaviour
# sanitizers and runs each of them.
#
# usage: fuzz.sh [SECONDS]        of each target; 600 if not given
#        fuzz.sh --keep           after a run: chooses anew what tests/fuzz/corpus/ keeps of it
#
# A run starts from the seeds that fuzz_seeds writes, from the inputs of earlier runs that
# tests/fuzz/corpus/ keeps and from those in build-fuzz/corpus/, where inputs that led to new paths
# stay. A finding ends the script with status 1 and its input stays in build-fuzz/findings/: give
# that file to the target as its only argument to see it again.
#
# Kept of each target are the at most 40 inputs, cut off at 400 bytes, that together reach most of
# what the seeds do not.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1-600}
if ! [[ $seconds =~ ^([1-9][0-9]*|--keep)$ ]]; then
  echo "usage: ${0##*/} [SECONDS | --keep]" >&2
  exit 2
fi

scripts/install_packages.sh
{ cmake --preset fuzz && cmake --build --preset fuzz --target fuzzers; } >build-fuzz.log 2>&1 || {
  tail -n 60 build-fuzz.log >&2
  exit 1
}

corpus=build-fuzz/corpus
kept=tests/fuzz/corpus
findings=build-fuzz/findings
mkdir -p "$findings"
build-fuzz/tests/fuzz/fuzz_seeds "$corpus"

# keep TARGET: the merge adds to the seeds, best first, what reaches something beyond them.
keep() {
  local target=$1 merged=build-fuzz/merged/$1 name
  local log=build-fuzz/$1.log
  touch "$merged.begun"
  mkdir -p "$kept/$target"
  if ! build-fuzz/tests/fuzz/"$target" -set_cover_merge=1 -max_len=400 -timeout=10 "$merged" \
    "$corpus/$target" "$kept/$target" >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    return 1
  fi
  find "$kept/$target" -type f -delete
  find "$merged" -type f -size +0 -newer "$merged.begun" -printf '%T@ %p\n' | sort -n | head -n 40 |
    while read -r _ name; do cp "$name" "$kept/$target"; done
  echo "$target: $(find "$kept/$target" -type f | wc -l) inputs," \
    "$(find "$kept/$target" -type f -printf '%s\n' |
      awk '{ all += $1 } END { print all + 0 }') bytes"
}

run() {
  local target=$1 log=build-fuzz/$1.log
  if ! build-fuzz/tests/fuzz/"$target" -max_total_time="$seconds" -max_len=4096 -timeout=10 \
    -use_value_profile=1 -print_final_stats=1 -artifact_prefix="$findings/" "$corpus/$target" \
    "$kept/$target" >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    echo "$target found something; its input is in $findings/" >&2
    return 1
  fi
  echo "== $target for $seconds s
$(grep -E 'INITED|stat::number_of_executed_units|stat::average_exec' "$log")
$(grep -E '^#.*(NEW|REDUCE|pulse|DONE)' "$log" | tail -n 1)"
}
export -f run keep
export seconds corpus kept findings
action=run
if [ "$seconds" = --keep ]; then
  action=keep
  rm -rf build-fuzz/merged
  build-fuzz/tests/fuzz/fuzz_seeds build-fuzz/merged
fi
printf '%s\n' wpak_fuzz prefix_fuzz dynp_fuzz join_fuzz group_key_fuzz |
  xargs -P "$(nproc)" -I{} bash -c "$action"' "$1"' - {}
