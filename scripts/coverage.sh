#!/usr/bin/env bash
# Line and branch coverage of the library's code by the CTest suite, per
# module (each family folder of layers.txt), with gcovr. Builds an
# instrumented tree in build-coverage/, runs the tests there and prints one
# row per module, flagging those under 85 % of lines. An HTML report with
# the covered lines of every file goes to build-coverage/coverage/index.html.
# Extra arguments go to ctest (e.g. -R sdo to measure one suite's reach).
# Usage: scripts/coverage.sh [CTEST_ARGS...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)
build=build-coverage

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKXSUPT_BENCH=OFF \
  -DCMAKE_C_FLAGS=--coverage -DCMAKE_CXX_FLAGS=--coverage \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$build" -j"$jobs"
find "$build" -name '*.gcda' -delete
ctest --test-dir "$build" -j"$jobs" --output-on-failure "$@" || echo "coverage: some tests failed" >&2

mapfile -t modules < <(grep -E '^[a-z]' layers.txt | while read -r dir; do [ -d "$dir" ] && echo "$dir"; done)
filter="^($(IFS='|'; echo "${modules[*]}"))/"
mkdir -p "$build/coverage"
gcovr --root . --object-directory "$build" --filter "$filter" \
  --exclude-directories "$build/CMakeFiles/([0-9.]+|CMakeScratch|CMakeTmp)" \
  --exclude-unreachable-branches --exclude-throw-branches --gcov-ignore-parse-errors \
  --json-summary "$build/coverage/summary.json" \
  --html-details "$build/coverage/index.html" >/dev/null

python3 - "$build/coverage/summary.json" "${modules[@]}" <<'PY'
import json, sys
summary = json.load(open(sys.argv[1]))
order = sys.argv[2:]
totals = {m: [0, 0, 0, 0] for m in order}
for f in summary["files"]:
    module = f["filename"].split("/")[0]
    if module in totals:
        t = totals[module]
        t[0] += f["line_covered"]; t[1] += f["line_total"]
        t[2] += f["branch_covered"]; t[3] += f["branch_total"]
def pct(a, b):
    return f"{100.0 * a / b:5.1f} %" if b else "    - "
print(f"{'module':<12} {'lines':>13} {'line cov':>9} {'branches':>13} {'branch cov':>10}")
low = []
for m in order:
    lc, lt, bc, bt = totals[m]
    if lt == 0:
        continue
    flag = "  < 85 %" if lc < 0.85 * lt else ""
    if flag:
        low.append(m)
    print(f"{m:<12} {lc:>6}/{lt:<6} {pct(lc, lt):>9} {bc:>6}/{bt:<6} {pct(bc, bt):>10}{flag}")
lc = sum(t[0] for t in totals.values()); lt = sum(t[1] for t in totals.values())
bc = sum(t[2] for t in totals.values()); bt = sum(t[3] for t in totals.values())
print(f"{'total':<12} {lc:>6}/{lt:<6} {pct(lc, lt):>9} {bc:>6}/{bt:<6} {pct(bc, bt):>10}")
if low:
    print("under 85 % of lines: " + ", ".join(low))
PY
echo "coverage: per-line report in $build/coverage/index.html"
