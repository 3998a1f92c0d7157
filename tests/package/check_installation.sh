#!/usr/bin/env bash
# Installs into an empty prefix, moves it elsewhere, and builds and runs outside programs against
# it: C11 that loads the library, C++17 that links it, and a CMake project on the host toolkit.
# Compilers come by CC and CXX, CMake by CMAKE.
#
# usage: check_installation.sh BUILD WORK     WORK is emptied first
set -euo pipefail

build=$1 work=$2
here=$(cd "$(dirname "$0")" && pwd)
strict=(-Wall -Wextra -pedantic -Werror)

fail() {
  echo "FAIL  $*" >&2
  exit 1
}
expect() { # expect WANTED COMMAND...: what the command prints, and status 0
  local wanted=$1 printed
  shift
  printed=$("$@") || fail "$* ended with status $? and printed: $printed"
  [ "$printed" = "$wanted" ] || fail "$* printed: $printed, not: $wanted"
  echo "ok    $printed"
}

rm -rf "$work"
mkdir -p "$work"
"$CMAKE" --install "$build" --prefix "$work/first" >"$work/install.log"
mv "$work/first" "$work/moved"
prefix=$work/moved
library=$(dirname "$(find "$prefix" -name libcolx_x86.so)")

# The names of the library, and what programs linked to it ask for.
expect libcolx_x86.so.19 readlink "$library/libcolx_x86.so"
expect libcolx_x86.so.19.1 readlink "$library/libcolx_x86.so.19"
expect libcolx_x86.so.19 sh -c "readelf -dW '$library/libcolx_x86.so' |
  sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p'"

# Nothing installed speaks of the places where it was built or first stood.
if grep -rlF -e "$build" -e "$(cd "$here/../.." && pwd)" -e "$work/first" "$prefix" \
  --include='*.cmake' --include='*.pc' --include='*.h'; then
  fail "these files hold a path of this machine"
fi

# The public header alone, from the prefix's include folder, in both languages.
for language in c:c11 c++:c++17; do
  echo '#include <colx/kernels/frame/colx_x86.h>' |
    "${CXX}" -x "${language%:*}" -std="${language#*:}" "${strict[@]}" -fsyntax-only \
      -I"$prefix/include" -
done

# The toolkit's headers include each other and nothing of this tree. Each stands on its own: the
# toolkit's sources include their own header first; one without a source is compiled alone.
for header in "$prefix"/include/colx/host/*.h; do
  name=$(basename "$header")
  echo "#include \"host/$name\"" >>"$work/every_header.cpp"
  source=$here/../../host/${name%.h}.cpp
  if [ ! -e "$source" ]; then
    "$CXX" -x c++ -std=c++20 "${strict[@]}" -fsyntax-only -I"$prefix/include/colx" \
      -include "$header" /dev/null
  elif [ "$(grep -m1 '#include' "$source")" != "#include \"host/$name\"" ]; then
    fail "host/${name%.h}.cpp does not include its own header first"
  fi
done
"$CXX" -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I"$prefix/include/colx" \
  "$work/every_header.cpp"
cmp <(cd "$here/../../host" && ls ./*.h) <(cd "$prefix/include/colx/host" && ls ./*.h)

# Programs by pkg-config.
export PKG_CONFIG_PATH=$library/pkgconfig
expect 19.1 pkg-config --modversion colx
# shellcheck disable=SC2046  # flags are words
"$CC" -std=c11 "${strict[@]}" "$here/loading.c" -o "$work/loading" -rdynamic -ldl \
  $(pkg-config --cflags colx)
expect "19.1-1: 527 rows" env LD_LIBRARY_PATH="$library" "$work/loading"
# shellcheck disable=SC2046
"$CXX" -std=c++17 "${strict[@]}" "$here/linking.cpp" -o "$work/linking" \
  $(pkg-config --cflags --libs colx)
reported="colx_eq_dict_8bit: colx_wpak_decode failed; 20 rows"
expect "$reported" env LD_LIBRARY_PATH="$library" "$work/linking"
# shellcheck disable=SC2046
"$CXX" -std=c++20 -Wall -Wextra -Werror "$here/find_package/toolkit.cpp" -o "$work/toolkit" \
  $(pkg-config --cflags --libs colx-host)
found="colx_ge_le_dict_3bit: 3 rows: 0 4 5"
expect "$found" "$work/toolkit" "$library/libcolx_x86.so"

# The installed tool finds the library of its own prefix.
"$prefix/bin/colx-inspect" verify >"$work/verify" || fail "$(cat "$work/verify")"
expect "$library/libcolx_x86.so" head -n 1 "$work/verify"

# The README shows lines of the CMake project.
sed -n '/^```cmake$/,/^```$/{/^```/d;p}' "$here/../../README.md" >"$work/readme_lines"
[ -s "$work/readme_lines" ] || fail "the README shows no lines of CMake"
if grep -vxFf "$here/find_package/CMakeLists.txt" "$work/readme_lines"; then
  fail "the README shows these lines, the CMake project has not got them"
fi

# The CMake project, with each target of the package.
"$CMAKE" -S "$here/find_package" -B "$work/outside" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" >"$work/configure.log" ||
  fail "the outside project does not configure"
"$CMAKE" --build "$work/outside" -j 2 >"$work/build.log" || {
  cat "$work/build.log"
  fail "the outside project does not build"
}
expect "19.1-1: 527 rows" env LD_LIBRARY_PATH="$library" "$work/outside/loading"
expect "$reported" "$work/outside/linking"
expect "$found" "$work/outside/toolkit" "$library/libcolx_x86.so"
