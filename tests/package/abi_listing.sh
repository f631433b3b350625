#!/usr/bin/env bash
# Writes down what programs that were built against this version rely on, one fact a line:
# declarations of the C functions, sizes and places of the records that cross the boundary, sizes of
# classes, and the exported symbols with the sizes of virtual tables.
# Usage: abi_listing.sh <source directory> <C compiler> <C++ compiler> <plug-in> <directory for the lists>
set -eu
source=${1:?} cc=${2:?} cxx=${3:?} plugin=$(realpath "${4:?}") out=$(realpath "${5:?}")
export LC_ALL=C
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$source"

# What C sees of the headers that are meant for it, without comments.
mapfile -t headers < <(xargs grep -l '^VEK_C_BEGIN' <cmake/public_headers.txt)
for header in "${headers[@]}"; do
  sed 's,//.*,,' "$header" | awk '
    /^#if/ { ++depth; if (/__cplusplus/ && !cpp) { cpp = depth; is_c = /ifndef/ } }
    /^#else/ && depth == cpp { is_c = !is_c }
    /^#endif/ { if (depth == cpp) cpp = 0; --depth }
    !/^#/ && (!cpp || is_c)'
done >"$dir/seen_by_c"

awk '/^VEK_API/ { text = ""; on = 1 } on { text = text " " $0 }
     on && /;/ { gsub(/[ \t]+/, " ", text); print substr(text, 2); on = 0 }' "$dir/seen_by_c" |
  sort -u >"$out/functions.txt"

# A program that tells of every record: its size, then place and size of each member.
{
  printf '#include <%s>\n' "${headers[@]}"
  printf '#include <stdio.h>\nint main(void) {\n'
  awk '/^(typedef )?struct .*{$/ {
         name = $0; sub(/ {$/, "", name); sub(/^typedef /, "", name)
         sub(/__attribute__\(\(packed\)\) /, "", name); sub(/^.* /, "", name)
         printf "  printf(\"%s %%zu\\n\", sizeof(struct %s));\n", name, name; inside = 1; text = ""; next }
       /^}/ { inside = 0 }
       inside { text = text " " $0 }
       inside && /;/ {
         if (match(text, /\(\*[a-z_0-9]+\)/)) member = substr(text, RSTART + 2, RLENGTH - 3)
         else { member = text; sub(/[[;].*/, "", member); sub(/^.*[ *]/, "", member) }
         size = text ~ /\[\]/ ? "0ul" : "sizeof((struct " name "*)0)->" member
         printf "  printf(\"  %s %%zu %%zu\\n\", offsetof(struct %s, %s), %s);\n",
                member, name, member, size
         text = "" }' "$dir/seen_by_c"
  printf '  return 0;\n}\n'
} >"$dir/records.c"
# shellcheck disable=SC2046
"$cc" -std=gnu11 -I . $(pkg-config --cflags msgpack) "$dir/records.c" -o "$dir/records"
"$dir/records" >"$out/records.txt"

# Functions and data of ours, and the one of the JSON library, which a shared parson may bring; what
# templates leave behind is no promise.
nm -DS "$plugin" |
  awk '$1 == "U" && $2 == "json_free_serialized_string" { print $2 }
       NF == 4 && ($3 ~ /^[TDBR]$/ || $4 ~ /^_ZTV/) &&
       $4 !~ /^_ZTVN?S|^_ZN?K?S|ExporterSwitcherI/ {
         size = $3 == "T" ? "" : " " $2; sub(/ 0+/, " 0x", size); print $4 size }' |
  sort -u >"$out/symbols.txt"

# Classes that programs make themselves.
{
  sed 's,.*,#include "&",' cmake/public_headers.txt
  printf '#include <cstdio>\nint main() {\n'
  c++filt <"$out/symbols.txt" | sed -nE 's/^((vek::(data::)?)?([A-Z]\w*))::\4\(.*/\1/p' | sort -u |
    sed 's,.*,  std::printf("& %zu\\n"\, sizeof(&));,'
  printf '}\n'
} >"$dir/classes.cpp"
# shellcheck disable=SC2046
"$cxx" -std=gnu++20 -I . $(pkg-config --cflags msgpack) "$dir/classes.cpp" -c -o "$dir/classes.o"
"$cxx" "$dir/classes.o" "$plugin" -o "$dir/classes"
LD_LIBRARY_PATH=$(dirname "$plugin") "$dir/classes" >"$out/classes.txt"
