#!/bin/sh
# Prints the sections and the ten largest symbols of the library as a board gets it, stripped, and compares
# code and data with their budget.
#   size.sh FIGURES LIBRARY NM SIZE STRIP
set -eu
. "$(dirname "$0")/figures.sh"
figures=$1 library=$2 nm=$3 size=$4 strip=$5
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
"$strip" -o "$directory/stripped.so" "$library"
"$size" -A "$directory/stripped.so" >"$directory/sections"

section() { awk -v name="$1" '$1 == name { print $2; found = 1 } END { if (!found) print 0 }' "$directory/sections"; }

echo "Sections, in bytes:"
awk 'NR > 2 && $3 > 0 { printf "  %-20s %8d\n", $1, $2 }' "$directory/sections"
echo "Largest symbols, in bytes:"
"$nm" -S -C --size-sort --radix=d "$library" | tail -n 10 | sort -k2,2nr |
    awk '{ size = $2 + 0; kind = $3; $1 = $2 = $3 = ""; printf "  %8d %s%s\n", size, kind, substr($0, 3) }'
echo "Against the budget:"
figure "$figures" text "$(section .text)" bytes
figure "$figures" constants "$(section .rodata)" bytes
figure "$figures" data "$(($(section .data) + $(section .bss) + $(section .sdata) + $(section .sbss)))" bytes
figure "$figures" file "$(($(wc -c <"$directory/stripped.so")))" bytes
exit "$over_budget"
