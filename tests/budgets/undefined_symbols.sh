#!/bin/sh
# What the stripped library wants of others, against the list of what is meant.
#   undefined_symbols.sh LIST LIBRARY NM STRIP
set -eu
LC_ALL=C
export LC_ALL
list=$1 library=$2 nm=$3 strip=$4
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
"$strip" -o "$directory/stripped.so" "$library"
"$nm" -D --undefined-only --portability "$directory/stripped.so" | sed 's/[@ ].*//' | sort -u >"$directory/found"
grep -v '^#' "$list" | sed '/^$/d' | sort >"$directory/wanted"
if diff "$directory/wanted" "$directory/found" >"$directory/difference"; then
    echo "figure: $(wc -l <"$directory/found") undefined symbols, as listed"
else
    echo "The library's undefined symbols (>) are not those of the list (<):"
    grep '^[<>]' "$directory/difference"
    exit 1
fi
