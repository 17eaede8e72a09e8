#!/usr/bin/env bash
# The ABI guard: compares the shared library with the committed baseline
# (abi/libkxsupt.so.9.abi) using libabigail's abidiff. Exports added since the
# baseline are accepted; a removed export, or a changed export or type that
# an export reaches (parameters, return values, structure layouts), fails.
# abidiff's exit status is a bit set: 1 error, 2 usage error, 4 an ABI
# change, 8 an incompatible change (a removed export); with --no-added-syms
# added exports do not count, so any non-zero status is a failure here.
# Usage: scripts/check-abi.sh [LIBRARY] [BASELINE]
set -uo pipefail
cd "$(dirname "$0")/.."
lib=${1:-build/libkxsupt.so.9}
baseline=${2:-abi/libkxsupt.so.9.abi}

sections=$(readelf -S "$lib" 2>/dev/null)
if ! grep -q '\.debug_info' <<<"$sections"; then
  echo "abi: $lib has no debug information: check a RelWithDebInfo or Debug build" >&2
  exit 1
fi
report=$(abidiff --no-added-syms "$baseline" "$lib" 2>&1)
status=$?
added=$(abidiff "$baseline" "$lib" 2>/dev/null |
  sed -nE 's/.*Functions changes summary:.* ([0-9]+) Added function.*/\1/p')

if [ $status -eq 0 ]; then
  echo "abi: compatible with $baseline; ${added:-0} export(s) added since it was recorded"
  exit 0
fi
echo "$report" >&2
if [ $((status & 3)) -ne 0 ]; then
  echo "abi: abidiff could not compare $lib with $baseline (status $status)" >&2
elif [ $((status & 8)) -ne 0 ]; then
  echo "abi: INCOMPATIBLE: an export of $baseline is gone from $lib (see above)." \
    "Programs linked against libkxsupt.so.9 would fail to load: restore it." >&2
else
  echo "abi: CHANGED: an export, or a type an export reaches, differs from $baseline" \
    "(see above). Binaries built against the old headers would misbehave: restore it," \
    "or, if the change is deliberate and safe, record it with" \
    "scripts/update-abi-baseline.sh and say why in the commit." >&2
fi
exit 1
