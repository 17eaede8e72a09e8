#!/usr/bin/env bash
# Checks the shared library's export surface against frame/exports.list: every
# exported function must be a listed name. Prints how many listed names exist.
set -euo pipefail
cd "$(dirname "$0")/.."
lib=${1:-build/libkxsupt.so.9}
list=frame/exports.list

exported=$(nm -D --defined-only "$lib" | awk '$2 ~ /^[TtWwiDdBbRrVv]$/ {print $3}' | sed 's/@.*//' | sort -u)
extra=$(comm -23 <(echo "$exported") <(sort -u "$list"))
present=$(comm -12 <(echo "$exported") <(sort -u "$list") | wc -l)
total=$(sort -u "$list" | wc -l)
soname=$(objdump -p "$lib" | awk '$1 == "SONAME" {print $2}')

echo "exports: $present of $total listed names present; SONAME $soname"
status=0
if [ -n "$extra" ]; then
  echo "exported but not listed:" >&2
  echo "$extra" >&2
  status=1
fi
if [ "$soname" != "libkxsupt.so.9" ]; then
  echo "unexpected SONAME: $soname" >&2
  status=1
fi
exit $status
