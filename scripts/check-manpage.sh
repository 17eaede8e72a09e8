#!/usr/bin/env bash
# Checks the man page docs/kxsupt.1 against the tool's own help, both ways:
# every command that `kxsupt --help` lists (with the subcommands that
# `kxsupt COMMAND --help` lists, if any) has an entry under COMMANDS, every
# entry is such a command, every option of a command appears in its entry,
# and the global options appear under OPTIONS. An entry is a .SS heading that
# starts with the command's words in bold, e.g.
#   .SS "\fBsdo dump\fP [\fB\-\-json\fP] \fIFILE\fP"
# Usage: scripts/check-manpage.sh [KXSUPT_BINARY] [MAN_PAGE]
set -euo pipefail
tool=${1:-build/kxsupt}
page=${2:-$(dirname "$0")/../docs/kxsupt.1}

# The text of a man source with font escapes removed and "\-" as "-".
plain() { sed -E 's/\\f(\[[^]]*\]|\(..|.)//g; s/\\-/-/g; s/\\\(aq/'"'"'/g; s/"//g' "$@"; }

# Names listed in a help text's "Subcommands:" block.
subcommands() {
  awk '/^Subcommands:/ {in_list = 1; next} /^[^ ]/ {in_list = 0} in_list && NF {print $1}'
}
# Option spellings ("-d", "--decode") of a help text's "Options:" block,
# without the help option that every command has.
options() {
  awk '/^Options:/ {in_list = 1; next} /^[^ ]/ {in_list = 0} in_list && NF {print $1}' |
    tr ',' '\n' | grep -E '^-' | grep -vxE -- '-h|--help' || true
}

# Commands from the tool: "crc32", "sdo dump", ...
declare -A tool_options
tool_commands=()
while read -r command; do
  nested=$("$tool" "$command" --help | subcommands)
  if [ -z "$nested" ]; then
    tool_commands+=("$command")
    tool_options[$command]=$("$tool" "$command" --help | options)
  else
    while read -r sub; do
      tool_commands+=("$command $sub")
      tool_options["$command $sub"]=$("$tool" "$command" "$sub" --help | options)
    done <<<"$nested"
  fi
done < <("$tool" --help | subcommands)

# Entries of the page: for each .SS under COMMANDS, its leading command words
# and the text of the entry (heading included).
page_text=$(plain "$page")
declare -A entry_text
page_commands=()
current=""
section=""
while IFS= read -r line; do
  case $line in
    .SH*) section=${line#.SH }; current=""; continue ;;
    .SS*)
      [ "$section" = COMMANDS ] || continue
      words=()
      for word in ${line#.SS }; do
        [[ $word =~ ^[a-z][a-z0-9-]*$ ]] || break
        words+=("$word")
      done
      current="${words[*]}"
      page_commands+=("$current")
      ;;
  esac
  if [ -n "$current" ]; then entry_text[$current]+="$line"$'\n'; fi
done <<<"$page_text"
options_text=$(awk '/^\.SH OPTIONS/ {on = 1; next} /^\.SH/ {on = 0} on' <<<"$page_text")

problems=0
complain() {
  echo "$page: $*" >&2
  problems=$((problems + 1))
}
has_word() { grep -qE -- "(^|[^-[:alnum:]])$2([^-[:alnum:]]|\$)" <<<"$1"; }

for command in "${tool_commands[@]}"; do
  if [ -z "${entry_text[$command]+set}" ]; then
    complain "'kxsupt $command' is a command of the tool but has no entry; add under .SH COMMANDS:
    .SS \"\\fB$command\\fP ...\"
    <what it does, then a .TP paragraph for each option>"
    continue
  fi
  for option in ${tool_options[$command]}; do
    has_word "${entry_text[$command]}" "$option" ||
      complain "option $option of 'kxsupt $command' is missing from its entry; add after its .SS:
    .TP
    .B $(sed 's/-/\\-/g' <<<"$option")
    <what it does>"
  done
done
for command in "${page_commands[@]}"; do
  found=0
  for known in "${tool_commands[@]}"; do [ "$known" = "$command" ] && found=1; done
  [ $found -eq 1 ] || complain "the entry '.SS $command' under COMMANDS names no command of the tool" \
    "(kxsupt --help lists: $(IFS=,; echo "${tool_commands[*]}")); remove or rename it"
done
for option in $("$tool" --help | options); do
  has_word "$options_text" "$option" ||
    complain "global option $option of kxsupt is missing under .SH OPTIONS; add a .TP paragraph for it"
done
version=$("$tool" --version)
grep -qF -- "$version" <<<"$options_text" ||
  complain "the --version paragraph under .SH OPTIONS does not show what the tool prints: \"$version\""

if [ $problems -ne 0 ]; then
  echo "man page: $problems difference(s) from kxsupt --help" >&2
  exit 1
fi
echo "man page: ${#tool_commands[@]} commands and their options match kxsupt --help"
