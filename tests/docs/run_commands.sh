#!/usr/bin/env bash
# Runs the commands that a page of documentation shows, in order, and compares what they print.
# Usage: run_commands.sh <source directory> <tool> <plug-in> <engine> <page>...
#
# In Markdown a command stands in a block fenced as "console", behind "$ " and goes on
# behind a backslash; what it prints follows. "..." alone on a line stands for any lines, at the end of a
# line for the rest of it. A command that ends with another status than 0 is followed by "echo $?".
# In a page of the manual such a block is ".Bd -literal" with a "$ " in it. Comments say more:
#
#   <!-- file: PATH -->           the block below is written to this file
#   <!-- setup: COMMAND -->       run without being shown
#   <!-- not run: REASON -->      the block below cannot be run here
#   <!-- needs: PROGRAM -->       the block below is run where there is such a program, or with
#                                 "no PROGRAM" where there is none
#
# Pages are written for an installed system and for somebody at home in /home/op; here both lie in a
# temporary directory, and are called by those names in what is compared.
set -u
source=$(realpath "${1:?}") tool=$(realpath "${2:?}") plugin=$(realpath "${3:?}")
engine=$(realpath "${4:?}")
shift 4
modules=/usr/lib/x86_64-linux-gnu/vekora
unset FLUENT_BIT_EXPORT_API_SO VEK_ROOT LD_LIBRARY_PATH VEK_API_LOG_LEVEL API_LOG_LEVEL
export LC_ALL=C.UTF-8 TZ=UTC

# An installed system, and a build tree, in a new directory.
make_system() {
  root=$(mktemp -d -p /tmp)  # paths of .exp files must be short
  home=$root/home/op
  mkdir -p "$home/build/release" "$root$modules" "$root/etc/vekora" "$root/usr/bin"
  # Copies: the loader and the doctor look behind links.
  cp "$plugin" "$engine" "$root$modules/"
  ln -s "$tool" "$root/usr/bin/vektool"
  cp -r "$source/packaging/config" "$root/etc/vekora/exporters"
  ln -s "$(dirname "$tool")" "$home/build/release/bin"
  ln -s "$(dirname "$plugin")" "$home/build/release/lib"
}
to_here() { sed -E "s,(^|[^a-z])(/home/op|$modules|/etc/vekora),\1$root\2,g"; }
to_there() { sed "s,$root,,g"; }

# One line for each thing to do, its kind before a tab; "\n" in it are line breaks.
steps_of() {
  if [[ $1 == *.[157] ]]; then
    sed 's/^\.Bd -literal.*/```console/; s/^\.Ed/```/; s/\\e/\\/g; s/^\\&//' "$1"
  else
    cat "$1"
  fi | awk '
    function flush() { if (command != "") print "run\t" command "\t" output; command = output = "" }
    /^<!-- (file|setup|not run|needs): .* -->$/ {
      kind = $2 == "not" ? "not" : substr($2, 1, length($2) - 1)
      value = $0; sub(/^<!-- [a-z ]*: /, "", value); sub(/ -->$/, "", value)
      if (kind == "setup") print "setup\t" value; else { next_kind = kind; next_value = value }
      next
    }
    /^```/ && !fence {
      fence = 1; console = $0 == "```console"; kind = next_kind; next_kind = ""; text = ""
      skip = kind == "not"
      if (kind == "needs") print "needs\t" next_value
      if (kind == "file") file = next_value
      next
    }
    /^```/ {
      flush(); fence = 0
      if (kind == "file") print "file\t" file "\t" text
      if (kind == "needs") print "needs\t"
      kind = ""; next
    }
    !fence { next }
    kind == "file" { text = text $0 "\\n"; next }
    !console || skip { next }
    /^\$ / { flush(); command = substr($0, 3); more = /\\$/; next }
    more { command = command "\\n" $0; more = /\\$/; next }
    { output = output $0 "\\n" }'
}

# Compares lines with what is expected of them, which "..." may stand in for.
matches() { # <expected file> <got file>
  awk 'function fits(want, got) {
         if (want !~ /[^.]\.\.\.$/) return want == got
         want = substr(want, 1, length(want) - 3)
         return substr(got, 1, length(want)) == want
       }
       FILENAME == ARGV[1] { want[++wants] = $0; next }
       { got[++gots] = $0 }
       END {
         for (i = j = 1; i <= wants; ++i) {
           if (want[i] == "...") { any = 1; continue }
           if (any) while (j <= gots && !fits(want[i], got[j])) ++j
           if (j > gots || !fits(want[i], got[j])) { print "    not there: " want[i]; exit 1 }
           any = 0; ++j
         }
         if (!any && j <= gots) { print "    too much: " got[j]; exit 1 }
       }' "$1" "$2"
}

run_step() { # <command> <expected>
  local command expected
  command=$(printf '%b' "${1//\\/\\\\}" | sed 's/\\n/\n/g' | to_here)
  printf '%s' "${2//\\n/$'\n'}" >"$root/expected"
  (exit "$status")
  eval "$command" >"$root/output" 2>&1 </dev/null
  status=$?
  commands=$((commands + 1))
  to_there <"$root/output" >"$root/got"
  expected=$(matches "$root/expected" "$root/got") && return
  echo "$page: $ $command"
  echo "$expected"
  sed 's/^/    | /; 20q' "$root/got"
  bad=1
}

run_page() {
  local kind value more
  status=0 commands=0 missing=""
  make_system
  cd "$home" || exit 1
  PATH=$root/usr/bin:$PATH
  while IFS=$'\t' read -r kind value more; do
    if [ "$kind" = needs ]; then
      missing=""
      case $value in
        '') ;;
        'no '*) ! command -v "${value#no }" >/dev/null || missing="a machine without ${value#no }" ;;
        *) command -v "$value" >/dev/null || missing=$value ;;
      esac
      [ -z "$missing" ] || echo "$page: part of it needs $missing and is not run"
      continue
    fi
    [ -z "$missing" ] || continue
    # Only a command that asks for it may follow one that failed.
    if [ "$status" -ne 0 ] && [[ $value != 'echo $?' ]]; then
      echo "$page: exit status $status before: $value"
      bad=1 status=0
    fi
    case $kind in
      file)
        mkdir -p "$(dirname "$value")"
        printf '%s' "${more//\\n/$'\n'}" | to_here >"$value"
        ;;
      setup) eval "$(to_here <<<"$value")" >"$root/output" 2>&1 || { cat "$root/output"; bad=1; } ;;
      run) run_step "$value" "$more" ;;
    esac
  done < <(steps_of "$source/$page")
  [ "$status" -eq 0 ] || { echo "$page: ends with exit status $status"; bad=1; }
  [ "$commands" -gt 0 ] || { echo "$page: shows no commands"; bad=1; }
  echo "$page: $commands commands"
}

bad=0
for page; do
  # In a shell of its own: pages set variables, change directories and leave programs running.
  (
    trap 'kill $(jobs -p) 2>/dev/null; cd /; rm -rf "$root"' EXIT
    run_page
    exit $bad
  ) || failed=1
done
exit ${failed:-0}
