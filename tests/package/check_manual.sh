#!/usr/bin/env bash
# Each page of the manual has the options of its verb, all of them and no others; every verb has a
# page; examples are command lines that the tool takes; references lead somewhere; mandoc, where it
# is installed, has nothing to complain of.
# Usage: check_manual.sh <source directory> <tool>
set -u
source=$(realpath "${1:?}") tool=$(realpath "${2:?}")
export LC_ALL=C.UTF-8
cd "$source/docs/man" || exit 2
bad=0

complain() {
  echo "$1"
  bad=$((bad + 1))
}

# Long names, one a line.
options_of_help() { "$tool" "$@" --help | sed -nE 's/^ +(-h,)?(--[a-z0-9-]+).*/\2/p' | sort -u; }
options_of_page() {
  awk '/^\.It .*Fl / { print }' "$1" | grep -oE 'Fl -[a-z0-9-]+' | sed 's/^Fl /-/' | sort -u
}
compare() { # <page> <arguments of the tool...>
  local page=$1
  shift
  diff <(options_of_help "$@") <(options_of_page "$page") >"$differences" && return
  sed -n "s/^< /$page: lacks /p; s/^> /$page: has what the tool does not: /p" "$differences"
  bad=$((bad + 1))
}
differences=$(mktemp)
trap 'rm -f "$differences"' EXIT

verbs=$("$tool" --help | sed -n '/^Subcommands:/,$ s/^  \([a-z]*\) .*/\1/p')
[ -n "$verbs" ] || complain "the tool names no verbs"
for verb in $verbs; do
  if [ -f "vektool-$verb.1" ]; then
    compare "vektool-$verb.1" "$verb"
  else
    complain "vektool-$verb.1: there is no such page"
  fi
  grep -q "^\.Xr vektool-$verb 1" vektool.1 || complain "vektool.1: does not name $verb"
done
for page in vektool-*.1; do
  verb=${page#vektool-}
  grep -qx "${verb%.1}" <<<"$verbs" || complain "$page: is of a verb that the tool does not have"
done
# The tool's own page has the options before a verb, and those that verbs share.
for option in $(options_of_help); do
  options_of_page vektool.1 | grep -qx -e "$option" || complain "vektool.1: lacks $option"
done

for page in *.[157]; do
  while read -r name section; do
    [ -f "$name.$section" ] || complain "$page: refers to $name($section), which is not there"
  done < <(sed -nE 's/^\.Xr ([a-z-]+) ([157]).*/\1 \2/p' "$page")
  grep -q '.\{101\}' "$page" && complain "$page: has lines of more than 100 characters"
  command -v mandoc >/dev/null || continue
  # The package's version is put in when it is built.
  sed 's/@PROJECT_VERSION@/1.0/' "$page" | mandoc -Tlint -Wstyle >"$differences" 2>&1 ||
    { grep -vE 'operating system explicitly specified|missing RCS id|referenced manual not found' \
        "$differences" | grep . && complain "$page: see above"; }
done
# Keys of destinations, in the order in which the plug-in tries them.
diff <(sed -n '/ kKeys = /,/;/p' "$source/exporter/exp_file_reader.cpp" | grep -o '"[a-z_]*"' | tr -d '"') \
  <(sed -nE 's/^\.It Ic ([a-z_]+).*/\1/p' vekora-exp.5) || complain "vekora-exp.5: has other keys"

# Examples name files of their readers' machines, which are not here; that is another exit status
# than a command line that is wrong. Sessions are run whole, by run_commands.sh.
examples_of() {
  sed -n 's/^\.Dl //p; /^\.Bd -literal/,/^\.Ed/p' "$1" | sed '/^\./d; s/\\&//g' |
    awk '{ more = sub(/\\e$/, ""); line = line $0; if (!more) { print line; line = "" } }' |
    grep -o 'vektool .*'
}
scratch=$(mktemp -d)
trap 'rm -rf "$differences" "$scratch"' EXIT
examples=0
for page in *.[15]; do
  while read -r -a words; do
    examples=$((examples + 1))
    (cd "$scratch" && timeout 10 "$tool" "${words[@]:1}" </dev/null >/dev/null 2>&1)
    [ $? -ne 2 ] || complain "$page: the tool does not take: ${words[*]}"
  done < <(examples_of "$page")
done
[ "$examples" -gt 8 ] || complain "only $examples examples were found"
exit $((bad > 0))
