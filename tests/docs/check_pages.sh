#!/usr/bin/env bash
# Links between pages lead somewhere, and commands stand where they are run (run_commands.sh): in
# blocks fenced as "console".
# Usage: check_pages.sh <source directory>
set -u
cd "${1:?usage: check_pages.sh <source directory>}" || exit 2
bad=0

for page in *.md docs/*.md docs/formats/*.md; do
  while read -r link; do
    [ -e "$(dirname "$page")/${link%%#*}" ] || {
      echo "$page: links to $link, which is not there"
      bad=1
    }
  done < <(grep -oE '\]\([^)]+\)' "$page" | sed 's/^](//; s/)$//' | grep -vE '^(https?:|#)')
  grep -nE '^    (\$ |sudo |vektool |build/release/bin/vektool )' "$page" | sed "s,^,$page:," | grep . &&
    echo "  these are commands; put them into a block fenced as console" && bad=1
done
exit $bad
