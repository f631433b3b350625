#!/usr/bin/env bash
# Programs built against this version go on working: packaging/abi/ says what they rely on.
# Usage: abi_test.sh <source directory> <C compiler> <C++ compiler> <plug-in> [--accept]
set -eu
source=${1:?} cc=${2:?} cxx=${3:?} plugin=${4:?}
if [ "${5:-}" = --accept ]; then
  exec "$source/tests/package/abi_listing.sh" "$source" "$cc" "$cxx" "$plugin" "$source/packaging/abi"
fi
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
"$source/tests/package/abi_listing.sh" "$source" "$cc" "$cxx" "$plugin" "$dir"
bad=0
for list in functions records classes symbols; do
  [ -s "$dir/$list.txt" ] || bad=1
  diff -u "$source/packaging/abi/$list.txt" "$dir/$list.txt" || bad=1
done
[ "$bad" -eq 0 ] && exit 0
cat <<'TEXT'

Lines with "-" are what programs built against this version rely on: they must not change without a
new major version. Lines with "+" are new; when they are meant, run

    tests/package/abi_test.sh . cc c++ build/release/lib/libfluentbit_exporter.so --accept
TEXT
exit 1
