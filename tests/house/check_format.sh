#!/usr/bin/env bash
# Every C and C++ file is as clang-format leaves it. Usage: check_format.sh <source root>
set -u
cd "${1:?usage: check_format.sh <source root>}" || exit 2
formatter=$(command -v clang-format-14 || command -v clang-format) || {
  echo "clang-format is not installed"
  exit 1
}
find utils json data counters field_set dict_reader schema_manager exporter raw_msgpack_api tools \
  tests bench fuzz examples \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0 2>/dev/null |
  xargs -0 "$formatter" --dry-run --Werror
