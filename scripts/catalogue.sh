#!/usr/bin/env bash
# Writes docs/kernels.md anew: the 800 kernels and the exported functions, as the registry, the
# built library and the public header have them.
#
# usage: catalogue.sh
set -euo pipefail
cd "$(dirname "$0")/.."

if [ $# -ne 0 ]; then
  echo "usage: ${0##*/}" >&2
  exit 2
fi

scripts/install_packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target kernel_catalogue_test >/dev/null
COLX_WRITE_DOCS=1 build-release/tests/kernel_catalogue_test --gtest_brief=1
