#!/usr/bin/env bash
# Records the ABI of the shared library as the baseline that
# scripts/check-abi.sh compares against (abi/libkxsupt.so.9.abi, libabigail's
# abidw format: the exported functions and every type they reach). Run it
# deliberately, from a build with debug information (build/ is
# RelWithDebInfo), when new exports are final, or after an intended change
# that the check refused; commit the baseline with a message saying why.
# Usage: scripts/update-abi-baseline.sh [LIBRARY] [BASELINE]
set -euo pipefail
cd "$(dirname "$0")/.."
lib=${1:-build/libkxsupt.so.9}
baseline=${2:-abi/libkxsupt.so.9.abi}

sections=$(readelf -S "$lib")
if ! grep -q '\.debug_info' <<<"$sections"; then
  echo "$lib has no debug information: build it as RelWithDebInfo or Debug" >&2
  exit 1
fi
before=$( [ -f "$baseline" ] && grep -c '<elf-symbol ' "$baseline" || echo 0)
mkdir -p "$(dirname "$baseline")"
# Source paths are kept relative to the tree, so that the baseline does not
# depend on where the tree was checked out.
abidw --no-show-locs --no-corpus-path --no-comp-dir-path --type-id-style hash \
  --exported-interfaces-only "$lib" | sed "s|path='$PWD/|path='|" >"$baseline.new"
mv "$baseline.new" "$baseline"
after=$(grep -c '<elf-symbol ' "$baseline")
echo "abi: baseline $baseline now holds $after exports (was $before)"
