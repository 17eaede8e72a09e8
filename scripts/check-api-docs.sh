#!/usr/bin/env bash
# Checks the documentation rule of the public headers (docs/api-reference.md):
# every KXSUPT_API declaration in include/ is documented by the /* ... */
# comment block that ends on the line right above it, or right above the run
# of KXSUPT_API declarations it belongs to (no blank or other line between).
# Also reports how many names of frame/exports.list are declared and
# documented. Prints what to add for each undocumented declaration.
set -euo pipefail
cd "$(dirname "$0")/.."

report=$(awk '
  function flush_declaration() {
    if (name != "") {
      print (documented ? "ok" : "missing"), name, FILENAME ":" first_line
    }
    name = ""
  }
  FNR == 1 { in_run = 0; comment_above = 0; in_comment = 0; name = "" }
  {
    line = $0
    if (in_comment) {
      if (index(line, "*/")) { in_comment = 0; comment_above = 1 }
      next
    }
    if (in_declaration) {
      if (index(line, ";")) { in_declaration = 0; flush_declaration(); in_run = 1 }
      next
    }
    if (line ~ /^[ \t]*\/\*/) {
      in_run = 0
      if (index(substr(line, index(line, "/*") + 2), "*/")) comment_above = 1
      else in_comment = 1
      next
    }
    if (line ~ /^[ \t]*KXSUPT_API[ \t]/) {
      # Documented by the block right above, directly or through the run.
      documented = comment_above || (in_run && run_documented)
      if (!in_run) run_documented = comment_above
      comment_above = 0
      first_line = FNR
      match(line, /[A-Za-z_][A-Za-z_0-9]*[ \t]*\(/)
      name = substr(line, RSTART, RLENGTH)
      sub(/[ \t]*\($/, "", name)
      if (index(line, ";")) { flush_declaration(); in_run = 1 } else in_declaration = 1
      next
    }
    in_run = 0
    comment_above = 0
  }
' include/kxsupt.h include/kxsupt/*.h)

missing=$(awk '$1 == "missing"' <<<"$report")
declared=$(awk '{print $2}' <<<"$report" | sort -u)
listed=$(sort -u frame/exports.list)
documented_exports=$(comm -12 <(awk '$1 == "ok" {print $2}' <<<"$report" | sort -u) - <<<"$listed" | wc -l)
not_listed=$(comm -23 <(echo "$declared") <(echo "$listed"))

status=0
if [ -n "$missing" ]; then
  while read -r _ name where; do
    echo "$where: $name has no comment: put a /* ... */ block on the lines right above it" \
      "(or right above the run of KXSUPT_API declarations it belongs to, with no blank line" \
      "between), saying what it does, its parameters' roles, statuses and ownership" >&2
  done <<<"$missing"
  status=1
fi
if [ -n "$not_listed" ]; then
  echo "declared with KXSUPT_API but not in frame/exports.list:" $not_listed >&2
  status=1
fi
echo "api docs: $(wc -l <<<"$report") KXSUPT_API declarations," \
  "$(grep -c . <<<"$missing" || true) undocumented;" \
  "$documented_exports of $(wc -l <<<"$listed") listed exports declared and documented"
exit $status
