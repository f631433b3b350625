#!/usr/bin/env bash
# The include check itself must be able to fail: one wrong include of each kind, each refused.
set -eu
check=$(cd "$(dirname "$0")" && pwd)/check_includes.sh
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

expect() { # <0|1> <file> <include line>
  rm -rf "${dir:?}"/*
  mkdir -p "$dir/$(dirname "$2")"
  printf '%s\n' "$3" >"$dir/$2"
  if bash "$check" "$dir" >"$dir/output" 2>&1; then got=0; else got=1; fi
  if [ "$got" != "$1" ]; then
    echo "expected $1, got $got for $2: $3"
    cat "$dir/output"
    exit 1
  fi
}

expect 0 data/a.cpp '#include "utils/logger.h"'
expect 0 data/type_system.h '#include "counters/counters_schema.h"'
expect 1 data/schema.cpp '#include "counters/counters_schema.h"'
expect 1 utils/a.h '#include "data/schema.h"'
expect 1 counters/a.cpp '#include "data/type_system.h"'
expect 1 raw_msgpack_api/a.cpp '#include "exporter/exp_config.h"'
expect 0 tools/check/a.cpp '#include "raw_msgpack_api/parameter_check.h"'
expect 1 tools/a.cpp '#include "raw_msgpack_api/engine.h"'
expect 0 tools/check/a.cpp '#include "tools/config/configuration.h"'
expect 0 tools/cli.cpp '#include "tools/check/check.h"'
expect 0 tools/golden/a.cpp '#include "tools/check/check.h"'
expect 1 tools/check/a.cpp '#include "tools/preview/preview.h"'
expect 1 tools/base/a.cpp '#include "tools/config/configuration.h"'
expect 1 tools/check/a.cpp '#include "tools/cli.h"'
expect 1 data/a.cpp '#  include "exporter/exp_config.h"'
expect 1 data/a.cpp '#include "schema.h"'
echo "16 wrong ways refused or right ways taken"
