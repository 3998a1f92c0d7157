#!/usr/bin/env bash
# Makes deliberate faults in the kernels, one at a time, and shows which test notices each. Works on
# a copy of the tree in build-mutation/; all of it takes half an hour on 2 cores. The result of a
# whole run goes to docs/mutations.md.
#
# usage: mutate.sh [PART]...
#
#   scripts/mutate.sh              every fault, and the report
#   scripts/mutate.sh bloom 'tail' only those whose list or text has one of these in its name
#
# Ends with status 1 if a fault was not noticed.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh
mkdir -p build-mutation docs
if [ $# -eq 0 ]; then
  set -- --report docs/mutations.md
fi
exec python3 -B tests/mutation/mutate.py . build-mutation --jobs "$(nproc)" "$@"
