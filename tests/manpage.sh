#!/usr/bin/env bash
# manpage.sh PROGRAM PAGE: the page's entries are the options and words that PROGRAM --help lists, with
# their values, and its version is the program's.
set -euo pipefail
program=$1 page=$2

listed=$("$program" --help | sed -nE 's/^  (-.+|[a-z-]+(=[A-Z]+)?)  .*/\1/p' | sed -E 's/  .*//; s/[<>, ]//g')
entries=$(sed -n '/^\.TP/{n;p}' "$page" | sed -E 's/^\.[A-Z]+ //; s/[\\", ]//g')
diff <(sort <<<"$listed") <(sort <<<"$entries")
[ "$(wc -l <<<"$entries")" -gt 5 ]
version=$("$program" --version)
grep -q "^\.TH .* \"sem-background ${version##* }\"" "$page"
