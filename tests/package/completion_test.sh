#!/usr/bin/env bash
# The completion for bash, as the shell calls it. Where they are installed, fish is asked too, and zsh
# parses its own.
# Usage: completion_test.sh <source directory> <tool>
set -u
source=$(realpath "${1:?}") tool=$(realpath "${2:?}")
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
PATH=$(dirname "$tool"):$PATH
bad=0
# shellcheck disable=SC1091
. "$source/completion/vektool.bash"

# What is offered for the words of a command line, the last of which is being typed.
offered() {
  COMP_WORDS=(vektool "$@")
  COMP_CWORD=$#
  _vektool vektool "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
  echo "${COMPREPLY[*]}"
}
expect() { # <offered> <words...>
  local want=$1 got
  shift
  got=$(offered "$@")
  [ "$got" = "$want" ] && return
  echo "vektool $*: expected '$want', got '$got'"
  bad=1
}

mkdir -p "$dir/config"
touch "$dir/pages.bin"
cd "$dir" || exit 1
expect 'check' ch
expect '--help --version' --
expect '--strict' check --st
expect '--schema-dir' check --sch
expect 'text json junit github' check --format ''
expect 'json junit' check --format j
expect 'json junit' check --format = j
expect 'text json junit github' check --format =
expect 'never' replay --color n
expect 'max' replay --speed ''
expect 'now' replay --shift-time ''
expect '' preview --limit ''
expect 'config' check ''
expect 'config' check --strict ''
expect 'config' preview --config ''
expect 'config pages.bin' check --pages ''
expect 'pages.bin' inspect p
expect 'config' test c

# Every verb and every option is offered.
for verb in $("$tool" --help | sed -n '/^Subcommands:/,$ s/^  \([a-z]*\) .*/\1/p'); do
  expect "$verb" "$verb"
  options=$("$tool" "$verb" --help | grep -oE -- '^ +(-h,)?--[a-z0-9-]+' |
    grep -oE -- '--.*' | xargs)
  expect "$options" "$verb" --
done

if command -v zsh >/dev/null; then zsh -n "$source/completion/_vektool" || bad=1; fi
if command -v fish >/dev/null; then
  got=$(fish -N -c "source '$source/completion/vektool.fish'; complete -C 'vektool check --format j'" | xargs)
  [ "$got" = "json junit" ] || {
    echo "fish offers '$got'"
    bad=1
  }
fi
exit $bad
