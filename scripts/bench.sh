#!/usr/bin/env bash
# Builds the benchmarks in release mode and prints the ratio table
# (case, ours, anchor, ratio = ours / anchor in time). Extra arguments go to
# Google Benchmark, e.g. --benchmark_filter=crc32.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DKXSUPT_TESTS=OFF >/dev/null
cmake --build build-bench -j"$(nproc)" --target kxsupt_bench
build-bench/bench/kxsupt_bench "$@"
