#!/usr/bin/env bash
# Every installed header compiles alone, with nothing but installed headers around it.
# Usage: check_public_headers.sh <source root> <C++ compiler>
set -eu
root=${1:?usage: check_public_headers.sh <source root> <C++ compiler>}
compiler=${2:?usage: check_public_headers.sh <source root> <C++ compiler>}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

while read -r header; do
  mkdir -p "$dir/include/$(dirname "$header")"
  cp "$root/$header" "$dir/include/$header"
done <"$root/cmake/public_headers.txt"

failed=0
while read -r header; do
  echo "#include \"$header\"" >"$dir/alone.cpp"
  if ! "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Werror -I "$dir/include" \
    "$dir/alone.cpp"; then
    echo "$header does not compile from what is installed"
    failed=1
  fi
done <"$root/cmake/public_headers.txt"
exit "$failed"
