#!/usr/bin/env bash
# Runs the sweeps of all 800 slots and of the exported functions for longer, with other random
# batches each time. A failure prints one line that ends with how to run that one batch again.
#
# usage: sweep.sh [SEED [BATCHES]]
#
#   SEED     of the batches; the time of day if not given. The same seed makes the same batches.
#   BATCHES  of each slot and each family of functions; 5000 if not given, some minutes
set -euo pipefail
cd "$(dirname "$0")/.."

seed=${1-$(date +%s)}
batches=${2-5000}
if ! [[ $seed =~ ^[0-9]+$ && $batches =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: ${0##*/} [SEED [BATCHES]]" >&2
  exit 2
fi

scripts/install_packages.sh
{
  cmake --preset release &&
    cmake --build --preset release --target sweep_test function_sweep_test
} >build-sweep.log 2>&1 || {
  tail -n 60 build-sweep.log >&2
  exit 1
}
echo "seed $seed, $batches batches"
status=0
for program in sweep_test function_sweep_test; do
  COLX_SWEEP_SEED=$seed COLX_SWEEP_BATCHES=$batches \
    build-release/tests/$program --gtest_brief=1 --gtest_filter='*Sweep.*' || status=1
done
exit $status
