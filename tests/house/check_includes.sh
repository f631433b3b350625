#!/usr/bin/env bash
# Refuses an include that goes the wrong way. Usage: check_includes.sh <source root>
#
# Each folder may include itself and the folders listed for it, nothing else of the project. Two
# files are let through by name: the type system owns a counters schema, and the tool asks the
# engine's code what is wrong with its parameters.
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

# Inside tools/: what its folders share, from the bottom up; folders of verbs see all of that, and of
# each other only what is named here. Files beside the folders see everything.
shared="base command_line pages config conversion plugin"
declare -A allowed_in_tools=(
  [base]=""
  [command_line]="base"
  [pages]="base command_line"
  [config]="base"
  [conversion]="base pages config"
  [plugin]="base"
  [golden]="$shared check"
)

bad=0
report() {
  printf '%s:%s: %s\n' "$1" "$2" "$3"
  bad=$((bad + 1))
}

check_inside_tools() { # <file> <line> <header>
  local from=${1#tools/} to=${3#tools/}
  [[ $from == */* ]] || return
  [[ $to == */* ]] || {
    report "$1" "$2" "only files beside the folders of tools/ may include \"$3\""
    return
  }
  from=${from%%/*} to=${to%%/*}
  [ "$from" = "$to" ] && return
  case " ${allowed_in_tools[$from]-$shared} " in *" $to "*) ;; *)
    report "$1" "$2" "tools/$from/ must not include tools/$to/ (\"$3\")" ;;
  esac
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
  if [ "$from" = tools ] && [ "$to" = tools ]; then
    check_inside_tools "$file" "$line" "$header"
    continue
  fi
  [ "$from" = "$to" ] && continue
  case " ${allowed[$from]} " in *" $to "*) ;; *)
    case "$file:$header" in
      data/type_system*:counters/counters_schema.h) ;;
      tools/check/*:raw_msgpack_api/parameter_check.h) ;;
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
