#!/usr/bin/env bash
# Runs the kernels on the oldest processor that the library promises to serve: SSE4.2 and POPCNT, no
# AVX, no BMI, emulated by qemu. An instruction above that ends the program.
#
# usage: baseline.sh [BUILD] [--all]   folder of a release build of the tests; build-release if not
#                                      given
#
# Both sweeps call every slot and every exported function. Beside them go the tests of each family
# that end within seconds here, with --all the slow ones, too, for some minutes; left out are death
# tests, whose faults the emulator reports itself.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build-release all=
for argument in "$@"; do
  if [ "$argument" = --all ]; then all=yes; else build=$argument; fi
done
if [ ! -x "$build/tests/sweep_test" ]; then
  echo "usage: ${0##*/} [BUILD] [--all], where BUILD is a folder with the tests built" >&2
  exit 2
fi

# Some ten seconds or more under emulation; the sweeps call what they test.
slow=' build_resume_test build_test burst_test byte_vector_test dict_null_test dict_packed_test
  dict_selective_test gather_far_test gather_test hash_test insert_passes_test iteration_test
  long_columns_test match_passes_test partition_test probe_test unpack_selected_test '

programs=()
for source in tests/{frame,bitvec,predicate,decode,xlate,join,aggregate}/*_test.cpp; do
  name=$(basename "$source" .cpp)
  [[ -z $all && $slow =~ [[:space:]]$name[[:space:]] ]] || programs+=("$name")
done

run() {
  local name=${1%%=*} log=$build/baseline-${1%%=*}.log
  if ! timeout 600 qemu-x86_64 -cpu Nehalem "$build/tests/$name" --gtest_brief=1 \
    --gtest_filter="${1#*=}" >"$log" 2>&1; then
    tail -n 20 "$log"
    echo "$name fails on the baseline processor; its output is in $log"
    return 1
  fi
}
export -f run
export build
printf '%s\n' 'sweep_test=Sweep.*' 'function_sweep_test=*' "${programs[@]/%/=-*Death*}" |
  xargs -P "$(nproc)" -I{} bash -c 'run "$1"' - {}
echo "$((${#programs[@]} + 2)) test programs pass on the baseline processor"
