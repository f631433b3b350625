#!/usr/bin/env bash
# What the loader and the compiler were asked to guard is in the files.
# Usage: check_hardening.sh <plug-in> <engine> <tool> <build type>
set -u
plugin=${1:?} engine=${2:?} tool=${3:?} build_type=${4?}
bad=0

complain() {
  echo "$1: $2"
  bad=$((bad + 1))
}

has_dynamic() { readelf -dW "$1" | grep -q "$2"; }
imports() { readelf --dyn-syms -W "$1" | grep -q " UND $2"; }
# Without the folder of a shared parson, which may lie where the loader does not look.
search_path() {
  local kept="" folder parson
  local all
  all=$(readelf -dW "$1" | sed -n 's/.*(\(RUNPATH\|RPATH\)).*\[\(.*\)\]/\1 \2/p')
  parson=$(readelf -dW "$1" | sed -n 's/.*(NEEDED).*\[\(libparson\.so.*\)\]/\1/p')
  IFS=: read -ra folders <<<"${all#* }"
  for folder in "${folders[@]}"; do
    [ -n "$parson" ] && [ -e "$folder/$parson" ] || kept+=${kept:+:}$folder
  done
  echo "${kept:+${all%% *} }$kept"
}

for file in "$plugin" "$engine" "$tool"; do
  segments=$(readelf -lW "$file")
  grep -q GNU_RELRO <<<"$segments" || complain "$file" "relocations stay writable"
  grep -q 'GNU_STACK.* RW  ' <<<"$segments" || complain "$file" "the stack may be executed"
  grep -qE ' RWE ' <<<"$segments" && complain "$file" "a segment is writable and executable"
  has_dynamic "$file" 'FLAGS_1.*NOW' || complain "$file" "symbols are bound late"
  has_dynamic "$file" TEXTREL && complain "$file" "the loader has to write into code"
  imports "$file" __stack_chk_fail || complain "$file" "no stack protector"
  [ "$build_type" = Debug ] || imports "$file" '__[a-z_]*_chk@' ||
    complain "$file" "no checked calls of the C library"
done
readelf -hW "$tool" | grep -q 'Type: *DYN' || complain "$tool" "is loaded at a fixed address"

# Its own folder is where the plug-in finds the engine, after what the environment says.
[ "$(search_path "$plugin")" = "RUNPATH \$ORIGIN" ] ||
  complain "$plugin" "looks for libraries in '$(search_path "$plugin")'"
for file in "$engine" "$tool"; do
  [ -z "$(search_path "$file")" ] || complain "$file" "looks for libraries in '$(search_path "$file")'"
done
exit $((bad > 0))
