#!/bin/sh
# Compares the symbols of the built library with the list, both ways.
#   check_exports.sh EXPORTS_LIST LIBRARY NM POINTER_BYTES
set -eu
LC_ALL=C
export LC_ALL
list=$1 library=$2 nm=$3 pointer_bytes=$4
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

# "f NAME" and "o NAME SIZE", sorted.
awk -v pointer_bytes="$pointer_bytes" '
    /^#/ || NF == 0 { next }
    $3 == "f" { print "f", $4 }
    $3 == "o" { print "o", $4, (pointer_bytes == 4 && NF >= 6) ? $6 : $5 }' "$list" |
    sort >"$directory/wanted"

# nm prints: VALUE SIZE TYPE NAME. Code is T, or i and W when the compiler chose so; the rest is data.
"$nm" -D --defined-only -S --portability "$library" >"$directory/nm"
while read -r name type _ size; do
    name=${name%%@*}
    case $type in
        [TtiWw]) echo "f $name" ;;
        *) echo "o $name $((0x${size:-0}))" ;;
    esac
done <"$directory/nm" | sort >"$directory/found"

if diff -u "$directory/wanted" "$directory/found" >"$directory/difference"; then
    echo "$(wc -l <"$directory/wanted") symbols, as listed"
else
    echo "The library's symbols (+) are not those of the list (-):"
    grep '^[-+][fo]' "$directory/difference"
    exit 1
fi
