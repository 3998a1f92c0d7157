#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy) and cppcheck (cppcheck_suppressions.txt) over the library, the host
# toolkit, the examples and the tools; the configurations say why what is left out is left out.
#
# usage: lint.sh
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh
cmake --preset release >build-lint.log 2>&1 || {
  tail -n 40 build-lint.log >&2
  exit 1
}
status=0
sources=(kernels/*/*.cpp host/*.cpp examples/*/*.cpp tools/*/*.cpp)
cppcheck --enable=warning,performance,portability --std=c++20 --quiet --error-exitcode=1 -I. \
  -j "$(nproc)" --max-configs=1 --suppress=missingIncludeSystem \
  --suppressions-list=scripts/cppcheck_suppressions.txt "${sources[@]}" || status=1
printf '%s\n' "${sources[@]}" |
  xargs -P "$(nproc)" -I{} clang-tidy -p build-release --quiet {} 2>build-lint.log || status=1
exit $status
