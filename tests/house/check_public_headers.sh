#!/usr/bin/env bash
# Every installed header compiles alone, with nothing but installed headers around it: as C++, and
# those that promise C linkage as C, too.
# Usage: check_public_headers.sh <source root> <C++ compiler> <C compiler>
set -eu
root=${1:?usage: check_public_headers.sh <source root> <C++ compiler> <C compiler>}
export cxx=${2:?usage: check_public_headers.sh <source root> <C++ compiler> <C compiler>}
export cc=${3:?usage: check_public_headers.sh <source root> <C++ compiler> <C compiler>}
dir=$(mktemp -d)
export dir
trap 'rm -rf "$dir"' EXIT

while read -r header; do
  mkdir -p "$dir/include/$(dirname "$header")"
  cp "$root/$header" "$dir/include/$header"
done <"$root/cmake/public_headers.txt"

compile_alone() {
  local flags='-fsyntax-only -Wall -Wextra -Wpedantic -Werror'
  # shellcheck disable=SC2086
  echo "#include \"$1\"" | "$cxx" -xc++ -std=c++20 $flags -I "$dir/include" - || {
    echo "$1 does not compile from what is installed"
    return 1
  }
  grep -q '^VEK_C_BEGIN' "$dir/include/$1" || return 0
  # shellcheck disable=SC2086
  echo "#include \"$1\"" | "$cc" -xc -std=c11 $flags -I "$dir/include" - || {
    echo "$1 does not compile as C"
    return 1
  }
}
export -f compile_alone
xargs -P 2 -I HEADER bash -c 'compile_alone HEADER' <"$root/cmake/public_headers.txt"
