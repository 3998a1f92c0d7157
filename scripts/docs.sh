#!/usr/bin/env bash
# Builds the reference of the public interface, build/docs/html/index.html. Fails where a public
# declaration is not documented or a comment is not sound.
#
# usage: docs.sh [FOLDER [HEADER...]]
#
# FOLDER is where the pages go, build/docs if it is not given. HEADERs are documented instead of the
# public interface.
set -euo pipefail

case "${1-}" in
  -*)
    echo "usage: ${0##*/} [FOLDER [HEADER...]]" >&2
    exit 2
    ;;
esac
output=$(realpath -m "${1:-$(dirname "$0")/../build/docs}")
headers=()
for header in "${@:2}"; do headers+=("\"$(realpath "$header")\""); done
cd "$(dirname "$0")/.."

command -v doxygen >/dev/null || scripts/install_packages.sh
mkdir -p "$output"
{
  cat docs/Doxyfile
  echo "OUTPUT_DIRECTORY = \"$output\""
  [ ${#headers[@]} -eq 0 ] || echo "INPUT = ${headers[*]}"
} | doxygen -
echo "$output/html/index.html"
