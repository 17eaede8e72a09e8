#!/usr/bin/env bash
# Builds everything (library, tool, examples, tests, benchmarks) in build/ and
# runs the example client against the shared library.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)"
echo "== example client"
build/examples/kxsupt_example_hello
if [ -x examples/demo.sh ]; then
  echo "== demonstration"
  examples/demo.sh build
fi
