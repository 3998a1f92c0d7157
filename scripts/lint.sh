#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy) and cppcheck (cppcheck_suppressions.txt) over the library, the host
# toolkit, the examples and the tools, and clang-format (.clang-format) over all sources, and looks
# for files that are too long; the configurations say why what is left out is left out.
#
# usage: lint.sh
set -euo pipefail
cd "$(dirname "$0")/.."

if [ $# -ne 0 ]; then
  echo "usage: ${0##*/}" >&2
  exit 2
fi

scripts/install_packages.sh
cmake --preset release >build-lint.log 2>&1 || {
  tail -n 40 build-lint.log >&2
  exit 1
}
# long_files MOST FILE...: names the files with more lines than that.
long_files() {
  wc -l "${@:2}" | awk -v most="$1" '
    $2 != "total" && $1 > most { print $2 " has " $1 " lines, of " most " at most"; long = 1 }
    END { exit long }'
}

status=0
# The public header is one file whatever its length.
mapfile -t headers < <(find bench examples host kernels tools -name '*.h' ! -name colx_x86.h)
long_files 400 "${headers[@]}" || status=1
long_files 350 {kernels/*,host,examples/*,tools/*,bench,bench/support}/*.cpp || status=1
long_files 500 tests/*/*.{h,cpp} || status=1
find bench examples host kernels tests tools -name '*.h' -o -name '*.c' -o -name '*.cpp' |
  xargs clang-format --dry-run -Werror || status=1
sources=(kernels/*/*.cpp host/*.cpp examples/*/*.cpp tools/*/*.cpp)
cppcheck --enable=warning,performance,portability --std=c++20 --quiet --error-exitcode=1 -I. \
  -j "$(nproc)" --max-configs=1 --suppress=missingIncludeSystem \
  --suppressions-list=scripts/cppcheck_suppressions.txt "${sources[@]}" || status=1
# It reads GCC's commands, some of whose options Clang does not know.
printf '%s\n' "${sources[@]}" |
  xargs -P "$(nproc)" -I{} clang-tidy -p build-release --quiet \
    --extra-arg=-Wno-ignored-optimization-argument {} 2>build-lint.log || status=1
exit $status
