# Doxygen input filter for the public headers: turns their plain C comments
# into documentation without asking the headers to change style. Line count is
# kept, so Doxygen's warnings point at the header's own lines.
#   - The comment block that opens the file, and every block followed by a
#     blank line (a family's or section's introduction), document the file,
#     in order; a section's "---- Title ----" becomes its heading.
#   - A block followed directly by code documents that declaration; when a
#     run of declarations (KXSUPT_API functions, or #define lines) follows
#     with no blank line, the others share it (@copydoc of the first) unless
#     they carry a comment of their own.
#   - A comment after code on its line documents that member (/**< */).
# Text inside comments is escaped, so that it reads as written: no Doxygen
# commands, HTML tags or links come from characters such as @ \ < > & # %.

function escape(text,    out, c, k) {
  out = ""
  for (k = 1; k <= length(text); k++) {
    c = substr(text, k, 1)
    if (index("\\@<>&#%$", c) > 0) out = out "\\"
    out = out c
  }
  return out
}

# Escapes the comment text of a line whose comment starts at `from` (the
# index of "/*" or 1 for a continuation line), leaving "/*" and "*/" alone.
function escape_comment(line, from,    head, body, stop, tail) {
  head = substr(line, 1, from - 1)
  body = substr(line, from)
  tail = ""
  stop = index(body, "*/")
  if (stop > 0) {
    tail = substr(body, stop)
    body = substr(body, 1, stop - 1)
  }
  if (substr(body, 1, 2) == "/*") return head "/*" escape(substr(body, 3)) tail
  return head escape(body) tail
}

function is_blank(s) { return s ~ /^[ \t]*$/ }
function starts_comment(s) { return s ~ /^[ \t]*\/\*/ }
function runs_member(s) { return s ~ /^[ \t]*(KXSUPT_API[ \t]|#[ \t]*define[ \t])/ }

# The name a declaration or #define on this line declares.
function member_name(s) {
  if (match(s, /#[ \t]*define[ \t]+[A-Za-z_0-9]+/)) {
    s = substr(s, RSTART, RLENGTH)
    sub(/.*[ \t]/, "", s)
    return s
  }
  match(s, /[A-Za-z_0-9]+[ \t]*\(/)
  s = substr(s, RSTART, RLENGTH)
  sub(/[ \t]*\($/, "", s)
  return s
}

# Last line of the declaration or definition that starts on line i: a
# function declaration ends at its ";", a #define at its last continued line.
function member_end(i,    j) {
  j = i
  if (line[i] ~ /^[ \t]*#/) {
    while (line[j] ~ /\\$/ && j < n) j++
    return j
  }
  while (line[j] !~ /;/ && j < n) j++
  return j
}

{ line[++n] = $0 }

END {
  seen_code = 0
  for (i = 1; i <= n; i++) out[i] = line[i]
  i = 1
  while (i <= n) {
    if (starts_comment(line[i])) {
      start = i
      while (index(line[i], "*/") == 0 && i < n) i++
      finish = i
      for (k = start; k <= finish; k++) {
        out[k] = escape_comment(line[k], k == start ? index(line[k], "/*") : 1)
      }
      next_line = finish < n ? line[finish + 1] : ""
      file_doc = !seen_code || is_blank(next_line) || next_line ~ /^[ \t]*(KXSUPT_END_DECLS|#[ \t]*endif)/
      if (file_doc) {
        # The first block gives the file's brief; later ones (sections) add
        # paragraphs in order, a "---- Title ----" line as their heading.
        sub(/\/\*/, seen_code ? "/** @details" : "/**", out[start])
        if (seen_code && match(out[start], /@details[ \t]+--+[ \t]+/)) {
          rest = substr(out[start], RSTART + RLENGTH)
          title = rest
          sub(/[ \t]*--+.*$/, "", title)
          rest = substr(rest, length(title) + 1)
          sub(/^[ \t]*-*/, "", rest)
          out[start] = substr(out[start], 1, RSTART - 1) "@details <h3>" title "</h3>" rest
        }
        sub(/\*\/[ \t]*$/, " @file */", out[finish])
      } else {
        sub(/\/\*/, "/**", out[start])
        # The rest of a run of members shares this block, unless a member
        # has a comment of its own on its line.
        first = finish + 1
        last = member_end(first)
        while (runs_member(line[first]) && last < n && runs_member(line[last + 1])) {
          if (index(line[last + 1], "/*") == 0) {
            before[last + 1] = "/** @copydoc " member_name(line[first]) " */ "
          }
          last = member_end(last + 1)
        }
      }
      i = finish + 1
      continue
    }
    if (!is_blank(line[i]) && line[i] !~ /^[ \t]*#[ \t]*(ifndef|define[ \t]+KXSUPT_[A-Z0-9_]*_H[ \t]*$)/) {
      seen_code = 1
    }
    # A comment after code documents the member on this line.
    at = index(line[i], "/*")
    if (at > 0 && line[i] !~ /^[ \t]*#[ \t]*(if|ifdef|ifndef|else|elif|endif|include)/) {
      out[i] = escape_comment(line[i], at)
      sub(/\/\*/, "/**<", out[i])
      while (index(line[i], "*/") == 0 && i < n) {
        i++
        out[i] = escape_comment(line[i], 1)
      }
    }
    i++
  }
  for (i = 1; i <= n; i++) print before[i] out[i] after[i]
}
