#!/usr/bin/env bash
# Checks the library's layering against layers.txt: a source file in a family
# folder may include (#include "<folder>/...") only its own folder and the
# folders listed above it there. Also fails for a top-level folder with sources
# that layers.txt does not list (its code would not be built). tests/, bench/,
# fuzz/, tools/ and examples/ are clients and may include anything.
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t layers < <(grep -E '^[a-z]' layers.txt)
declare -A rank
for i in "${!layers[@]}"; do rank[${layers[$i]}]=$i; done

status=0
for dir in */; do
  dir=${dir%/}
  case $dir in
    include | tests | bench | fuzz | tools | examples | docs | scripts | build*) continue ;;
  esac
  if [ -z "${rank[$dir]+set}" ] &&
    [ -n "$(find "$dir" -maxdepth 1 -name '*.cpp' -o -maxdepth 1 -name '*.h' | head -1)" ]; then
    echo "$dir/: sources in a folder that layers.txt does not list" >&2
    status=1
  fi
done

checked=0
for family in "${layers[@]}"; do
  [ -d "$family" ] || continue
  own=${rank[$family]}
  while IFS=: read -r file line included; do
    target=${included%%/*}
    [ -n "${rank[$target]+set}" ] || continue
    if [ "${rank[$target]}" -gt "$own" ]; then
      echo "$file:$line: $family includes $included from the higher layer $target" >&2
      status=1
    fi
  done < <(grep -HnoE '^[[:space:]]*#[[:space:]]*include[[:space:]]+"[a-z_0-9]+/[^"]+"' \
    "$family"/*.h "$family"/*.cpp 2>/dev/null |
    sed -E 's/^([^:]+):([0-9]+):.*"([^"]+)"$/\1:\2:\3/')
  checked=$((checked + 1))
done

echo "layers: $checked family folders checked against layers.txt"
exit $status
