#!/usr/bin/env bash
# A short tour of the kxsupt tool on the sample data in examples/data/:
# describe an SDO object in JSON, encode it, dump it back, and digest it.
# Usage: examples/demo.sh [BUILD_DIR]   (default: build)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-build}
kxsupt="$(cd "$build" && pwd)/kxsupt"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

run() {
  printf '$ kxsupt'
  printf " '%s'" "$@"
  echo
  "$kxsupt" "$@"
  echo
}

run --version
echo "\$ kxsupt sdo encode examples/data/inventory.json -o inventory.sdo"
"$kxsupt" sdo encode "$here/data/inventory.json" -o inventory.sdo
echo "($(stat -c %s inventory.sdo) bytes written)"
echo
run sdo dump inventory.sdo
echo "\$ kxsupt sdo dump --json inventory.sdo | kxsupt sdo encode - | cmp - inventory.sdo"
"$kxsupt" sdo dump --json inventory.sdo | "$kxsupt" sdo encode - | cmp - inventory.sdo
echo "identical"
echo
run crc32 inventory.sdo
run md5 inventory.sdo
echo "\$ kxsupt base64 inventory.sdo | head -2"
"$kxsupt" base64 inventory.sdo | head -2
echo
run printf '%-10s|%08.3f|%#x|%g\n' engine 3.14159 48879 1000000
