#!/usr/bin/env bash
# Tests the ABI guard itself (scripts/check-abi.sh) on small libraries built
# here: against a baseline of the first version, an added function must be
# accepted, and a removed function, a changed parameter type, a changed
# structure layout or a changed return type must each fail with the right
# verdict. Exit 77 (skipped) when libabigail's tools are missing.
# Usage: tests/abi/guard_test.sh [C_COMPILER]
set -uo pipefail
scripts=$(cd "$(dirname "$0")/../../scripts" && pwd)
cc=${1:-cc}
command -v abidw >/dev/null && command -v abidiff >/dev/null || exit 77

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# The first version: a record type, a function reaching it, and two plain ones.
cat >v1.c <<'C'
#include <stdint.h>
typedef struct Record { int32_t first; int32_t second; } Record;
int32_t ReadFirst(const Record *record) { return record->first; }
uint32_t Next(uint32_t value) { return value + 1; }
uint32_t Twice(uint32_t value) { return value * 2; }
C
variant() { sed "$2" v1.c >"$1.c"; }
variant added 's/^uint32_t Twice/uint32_t Thrice(uint32_t value) { return value * 3; }\nuint32_t Twice/'
variant removed '/^uint32_t Twice/d'
variant parameter 's/uint32_t Next(uint32_t value)/uint32_t Next(uint64_t value)/; s/return value + 1/return (uint32_t)value + 1/'
variant layout 's/int32_t second; }/int32_t second; int32_t third; }/'
variant result 's/^uint32_t Twice(uint32_t value)/uint64_t Twice(uint32_t value)/'
for v in v1 added removed parameter layout result; do
  "$cc" -g -O1 -shared -fPIC -Wl,-soname,libguard.so.1 "$v.c" -o "lib$v.so" || exit 1
done
"$cc" -O1 -shared -fPIC -Wl,-soname,libguard.so.1 v1.c -o libnodebug.so || exit 1
"$scripts/update-abi-baseline.sh" "$work/libv1.so" "$work/baseline.abi" >/dev/null || exit 1

failures=0
expect() {  # expect VARIANT pass|fail TEXT: the verdict and a word of its message
  local output status
  output=$("$scripts/check-abi.sh" "$work/lib$1.so" "$work/baseline.abi" 2>&1)
  status=$?
  if { [ "$2" = pass ] && [ $status -ne 0 ]; } || { [ "$2" = fail ] && [ $status -eq 0 ]; } ||
    ! grep -q -- "$3" <<<"$output"; then
    echo "FAIL: $1: expected $2 with \"$3\", got status $status:" >&2
    echo "$output" >&2
    failures=$((failures + 1))
  else
    echo "ok: $1 -> $2 ($3)"
  fi
}
expect v1 pass "0 export(s) added"
expect added pass "1 export(s) added"
expect removed fail "INCOMPATIBLE"
expect parameter fail "CHANGED"
expect layout fail "CHANGED"
expect result fail "CHANGED"
expect nodebug fail "no debug information"
echo "$((7 - failures)) passed, $failures failed"
[ $failures -eq 0 ]
