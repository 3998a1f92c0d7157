#!/usr/bin/env bash
# Makes the Debian package, installs it below an empty root with a package database of its own, runs
# a program against it, removes it and proves that nothing is left. The system's own packages stay
# as they are; root's rights are not needed. The C compiler comes by CC, CMake by CMAKE.
#
# usage: check_debian_package.sh BUILD WORK     WORK is emptied first
set -euo pipefail

build=$1 work=$2
here=$(cd "$(dirname "$0")" && pwd)
export PATH=$PATH:/usr/sbin:/sbin

fail() {
  echo "FAIL  $*" >&2
  exit 1
}

rm -rf "$work"
mkdir -p "$work"
"$(dirname "$CMAKE")/cpack" --config "$build/CPackConfig.cmake" -G DEB -B "$work/cpack" \
  >"$work/cpack.log" || {
  cat "$work/cpack.log"
  fail "no package was made"
}
package=$work/cpack/colx_19.1-1_amd64.deb
field() { dpkg-deb --field "$package" "$1"; }
[ "$(field Package) $(field Version) $(field Architecture)" = "colx 19.1-1 amd64" ] ||
  fail "the package calls itself $(field Package) $(field Version) $(field Architecture)"
echo "ok    $(basename "$package"), depends on $(field Depends)"
# Read from the files: the library needs libc alone, the tool what GCC brings to C++ as well.
needed=$(field Depends | sed -E 's/ \(>= [^)]*\)//g')
[ "$needed" = "libc6, libgcc-s1, libstdc++6" ] || fail "the package depends on other packages"
if dpkg-deb --contents "$package" | grep -v ' root/root '; then
  fail "these files belong to whoever made the package"
fi

# The database below the root knows what this system has of the package's dependencies.
root=$work/root
database=$root/var/lib/dpkg
mkdir -p "$database/info" "$database/updates" "$database/triggers"
: >"$database/available"
field Depends | tr ',' '\n' | sed 's/^ *//; s/[ (].*//' | while read -r dependency; do
  dpkg-query --status "$dependency:$(dpkg --print-architecture)"
  echo
done >"$database/status"
# The package's scripts run outside of the root, so that it needs no shell: for them, ldconfig is
# the one that works below it.
mkdir "$work/bin"
cat >"$work/bin/ldconfig" <<'LDCONFIG'
#!/bin/sh
mkdir -p "$DPKG_ROOT/etc" && exec /sbin/ldconfig -r "$DPKG_ROOT"
LDCONFIG
chmod +x "$work/bin/ldconfig"
dpkg_below_root() {
  PATH=$work/bin:$PATH dpkg --root="$root" --log="$work/dpkg.log" --force-not-root \
    --force-script-chrootless "$@" >"$work/dpkg.out" 2>&1 || {
    cat "$work/dpkg.out"
    fail "dpkg $* ended with an error"
  }
}

dpkg_below_root --install "$package"
[ "$(dpkg-query --admindir="$database" -W -f='${db:Status-Abbrev}' colx)" = "ii " ] ||
  fail "the package is not installed"
dpkg --root="$root" --verify colx | grep . && fail "installed files differ from the package's"
library=$(dirname "$(find "$root/usr" -name libcolx_x86.so)")
/sbin/ldconfig -r "$root" -p | grep -q 'libcolx_x86\.so\.19 ' || fail "the loader does not know it"

# Hosts load the unversioned name; headers need no other folder than the system's.
"$CC" -std=c11 -I"$root/usr/include/colx" "$here/loading.c" -o "$work/loading" -rdynamic -ldl
printed=$(LD_LIBRARY_PATH=$library "$work/loading") || fail "the program ended with status $?"
[ "$printed" = "19.1-1: 527 rows" ] || fail "the program printed: $printed"
echo "ok    $printed"

"$root/usr/bin/colx-inspect" verify >"$work/verify" || fail "$(cat "$work/verify")"
[ "$(head -n 1 "$work/verify")" = "$library/libcolx_x86.so" ] || fail "$(cat "$work/verify")"
echo "ok    colx-inspect verifies the package's library"

dpkg_below_root --remove colx
rm -f "$root/etc/ld.so.cache" "$root/var/cache/ldconfig/aux-cache"
left=$(find "$root" -path "$database" -prune -o ! -type d -print)
[ -z "$left" ] || fail "left behind: $left"
[ ! -e "$root/usr" ] || fail "its folders are left behind"
dpkg_below_root --purge colx
dpkg-query --admindir="$database" --status colx >/dev/null 2>&1 && fail "dpkg still knows it"
left=$(find "$database/info" -name 'colx*')
[ -z "$left" ] || fail "left in dpkg's own folder: $left"
echo "ok    nothing is left"
