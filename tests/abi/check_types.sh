#!/bin/sh
# Compares the types of everything that the exported headers declare for C with what was recorded: functions with
# their parameters, records with every member's place, objects. A change is to be seen and decided upon; then
# record it with --record as the last argument.
#   check_types.sh EXPORTS_LIST INCLUDE_DIRECTORY C_COMPILER RECORDED [--record]
set -eu
list=$1 include=$2 cc=$3 recorded=$4
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

# A pointer to each symbol has the symbol's type, and is itself one that the dump looks at.
{
    echo "#include \"ovrafocus/ovrafocus.h\""
    awk '!/^#/ && $2 == "c" { printf "__typeof__(%s)* pointer_to_%s = &%s;\n", $4, $4, $4 }' "$list"
} >"$directory/types.c"
# The dump is sorted by the headers' paths, so these are the same wherever they lie. The compiler's name may be
# several words.
ln -s "$(cd "$include" && pwd)" "$directory/include"
# shellcheck disable=SC2086
(cd "$directory" && $cc -std=gnu11 -g -O0 -fPIC -shared -nostdlib -Iinclude types.c -o types.so)
abidw --no-show-locs --no-comp-dir-path --no-corpus-path --no-elf-needed --type-id-style hash \
    --out-file "$directory/types.abi" "$directory/types.so"
# Where the headers lay when they were read is no part of the interface.
sed -i "s, path='[^']*',," "$directory/types.abi"

if [ "${5:-}" = --record ]; then
    cp "$directory/types.abi" "$recorded"
elif diff "$recorded" "$directory/types.abi" >"$directory/difference"; then
    echo "the types of $(grep -c '^__typeof__' "$directory/types.c") symbols, as recorded"
else
    echo "The types that the headers declare are not those in $recorded:"
    abidiff --harmless "$recorded" "$directory/types.abi" || true
    head -40 "$directory/difference"
    exit 1
fi
