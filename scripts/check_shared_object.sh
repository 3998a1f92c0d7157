#!/usr/bin/env bash
# Proves what the library promises of its file: what it exports and imports, that it needs libc
# alone, runs nothing at load, is not written after relocation, binds its own calls locally and
# stays within SSE4.2 and POPCNT.
#
# usage: check_shared_object.sh LIBRARY EXPORT_LIST EXPORT_COUNT
#
# EXPORT_LIST is the linker's version script, EXPORT_COUNT how many names it exports.
# Prints a line per fact and ends with status 1 if one does not hold.
set -u -o pipefail

if [ $# -ne 3 ] || [ ! -r "$1" ] || [ ! -r "$2" ]; then
  echo "usage: ${0##*/} LIBRARY EXPORT_LIST EXPORT_COUNT" >&2
  exit 2
fi
library=$1 export_list=$2 export_count=$3
failed=0

# fact NAME OFFENDERS: holds if nothing offends.
fact() {
  if [ -z "$2" ]; then
    echo "ok    $1"
  else
    echo "FAIL  $1: $(echo "$2" | sort -u | head -8 | tr '\n' ' ')"
    failed=1
  fi
}

# The C library's functions that the contract names, and the host's reporter.
allowed_imports='host_raise_internal|printf|__printf_chk|__assert_fail|memset|memcpy|memcmp|__memcpy_chk|__memset_chk'

listed=$(sed -n 's/^ *\(colx_[a-z0-9_]*\);$/\1/p' "$export_list" | sort)
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sort)
imported=$(nm -D --undefined-only "$library" | awk '{print $2}' | sed 's/@.*//')

fact "exports only what is listed" "$(comm -13 <(echo "$listed") <(echo "$exported"))"
count=$(echo "$exported" | grep -c .)
fact "exports $export_count names" "$([ "$count" -eq "$export_count" ] || echo "it exports $count")"
fact "imports only libc's functions and host_raise_internal" \
  "$(echo "$imported" | grep -vxE "$allowed_imports")"
fact "needs libc alone" \
  "$(readelf -dW "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vx 'libc\.so\.6')"
fact "runs nothing at load or unload" \
  "$(readelf -dW "$library" | grep -oE '\((INIT|FINI|INIT_ARRAY|FINI_ARRAY|PREINIT_ARRAY)\)')"
fact "binds at load" "$(readelf -dW "$library" | grep -q 'BIND_NOW' || echo "no BIND_NOW")"
fact "has no text relocation" "$(readelf -dW "$library" | grep -o 'TEXTREL')"

# Every writable byte of the file lies in what becomes read-only after relocation.
relro=$(readelf -lW "$library" | awk '$1 == "GNU_RELRO" {print $3, $6}')
fact "has no writable data after relocation" "$(
  readelf -SW "$library" | sed 's/^ *\[ *[0-9]*\] *//' | awk '$7 ~ /W/ {print $1, $3, $5}' |
    while read -r name address size; do
      set -- $relro
      if [ $# -ne 2 ] || [ $((16#$address)) -lt $(($1)) ] ||
        [ $((16#$address + 16#$size)) -gt $(($1 + $2)) ]; then
        echo "$name"
      fi
    done
)"

# A relocation that names a symbol of the library itself would be open to interposition.
fact "binds its own calls and data locally" "$(
  readelf -rW "$library" | awk 'NF >= 5 && $3 ~ /JUMP_SLO|GLOB_DAT|R_X86_64_64/ {print $5}' |
    sed 's/@.*//' | grep -xF -f <(echo "$exported"))"

# VEX and EVEX mnemonics begin with v; the BMI families are VEX encoded too. The rest is above
# SSE4.2 and POPCNT. (tzcnt is a plain bsf with a prefix that older processors ignore.)
mnemonics=$(objdump -d --no-show-raw-insn "$library" | awk -F'\t' 'NF >= 2 {print $2}' |
  sed 's/^\(rep[nz]*\|lock\|data16\|notrack\|bnd\|cs\|ds\) *//' | awk '{print $1}' | sort -u)
fact "has no VEX or EVEX encoded instruction" "$(echo "$mnemonics" |
  grep -xE 'v[a-z0-9]+|andn|bextr|blsi|blsmsk|blsr|bzhi|mulx|pdep|pext|rorx|sarx|shlx|shrx|k[a-z]+[bwdq]')"
fact "has no other instruction above SSE4.2 and POPCNT" "$(echo "$mnemonics" |
  grep -xE 'lzcnt|movbe|aes[a-z]+|pclmul[a-z]*|sha[0-9][a-z0-9]*|adcx|adox|rdrand|rdseed|gf2p8[a-z]+|xsave[a-z]*|xgetbv|movdir[a-z0-9]+|prefetchw[t1]*')"
fact "uses no register wider than 16 bytes" \
  "$(objdump -d --no-show-raw-insn "$library" | grep -oE '%[yz]mm[0-9]+')"

exit $failed
