#!/usr/bin/env bash
# The project's test command, with compiler warnings as errors throughout:
# the whole CTest suite in a normal build; the export-surface, layering, ABI
# and API-reference checks; an install into a staging prefix with clients
# built against it; Release builds of everything with GCC and with Clang and
# the Debian packages; the CTest suite again in an AddressSanitizer +
# UndefinedBehaviorSanitizer build; the concurrency tests in a ThreadSanitizer
# build; and a short smoke run of every fuzz target.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)

echo "== normal build"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKXSUPT_WERROR=ON >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs" --no-tests=error

echo "== export surface, layers, ABI and API reference"
scripts/check-exports.sh build/libkxsupt.so.9
scripts/check-layers.sh
scripts/check-abi.sh build/libkxsupt.so.9
scripts/api-docs.sh build/api

echo "== install and clients (pkg-config, find_package)"
scripts/check-consumer.sh build

echo "== release builds (GCC, Clang) and Debian packages"
cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DKXSUPT_WERROR=ON \
  -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
cmake --build build-release -j"$jobs"
scripts/package.sh build-release
CC=clang CXX=clang++ cmake -S . -B build-clang -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DKXSUPT_WERROR=ON >/dev/null
cmake --build build-clang -j"$jobs"

echo "== sanitizer build (address, undefined)"
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKXSUPT_SANITIZE=ON \
  -DKXSUPT_BENCH=OFF -DKXSUPT_WERROR=ON >/dev/null
cmake --build build-asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan --output-on-failure -j"$jobs" --no-tests=error

echo "== thread sanitizer build (concurrency tests)"
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKXSUPT_TSAN=ON \
  -DKXSUPT_BENCH=OFF -DKXSUPT_TOOLS=OFF -DKXSUPT_WERROR=ON >/dev/null
cmake --build build-tsan -j"$jobs" --target kxsupt_test_os_concurrency \
  kxsupt_test_ipc_concurrency
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
  ctest --test-dir build-tsan --output-on-failure -j"$jobs" --no-tests=error -L concurrency

if compgen -G "fuzz/*.cpp" >/dev/null; then
  echo "== fuzz smoke run"
  CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DKXSUPT_FUZZ=ON -DKXSUPT_WERROR=ON -DKXSUPT_FUZZ_SECONDS="${KXSUPT_FUZZ_SECONDS:-10}" >/dev/null
  cmake --build build-fuzz -j"$jobs"
  ctest --test-dir build-fuzz --output-on-failure -j"$jobs" --no-tests=error
fi
