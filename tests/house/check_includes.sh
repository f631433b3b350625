#!/usr/bin/env bash
# Refuses an include that goes the wrong way. Usage: check_includes.sh <source root>
#
# Each folder may include itself and the folders listed for it, nothing else of the project. One
# file is let through by name: the type system owns a counters schema.
set -u
root=${1:?usage: check_includes.sh <source root>}
cd "$root" || exit 2

declare -A allowed=(
  [utils]=""
  [json]="utils"
  [data]="utils json"
  [counters]="utils json data"
  [schema_manager]="utils json data counters"
  [field_set]="utils data counters schema_manager"
  [dict_reader]="utils data"
  [exporter]="utils json data counters field_set dict_reader schema_manager"
  [raw_msgpack_api]="utils"
)
# tools/ sees what hosts see: everything that is installed, and its own files.
allowed[tools]="utils json data counters field_set dict_reader schema_manager exporter"
folders="${!allowed[*]} tests bench fuzz"

bad=0
report() {
  printf '%s:%s: %s\n' "$1" "$2" "$3"
  bad=$((bad + 1))
}

while IFS=: read -r file line text; do
  from=${file%%/*}
  header=${text#*\"}
  header=${header%%\"*}
  to=${header%%/*}
  case " $folders " in
    *" $to "*) ;;
    *)
      report "$file" "$line" "include \"$header\" is not written from the root of the project"
      continue
      ;;
  esac
  [ "$from" = "$to" ] && continue
  case " ${allowed[$from]} " in *" $to "*) ;; *)
    case "$file:$header" in
      data/type_system*:counters/counters_schema.h) ;;
      *) report "$file" "$line" "$from/ must not include $to/ (\"$header\")" ;;
    esac
    ;;
  esac
  if [ "$from" = counters ] && [ "$header" = data/type_system.h ]; then
    report "$file" "$line" "counters/ must not include the type system"
  fi
done < <(grep -nE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' -- \
  $(for folder in "${!allowed[@]}"; do
    find "$folder" \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print 2>/dev/null
  done) /dev/null)

if [ "$bad" -ne 0 ]; then
  echo "$bad include(s) against the order of the folders (ARCHITECTURE.md)"
  exit 1
fi
echo "includes go one way"
