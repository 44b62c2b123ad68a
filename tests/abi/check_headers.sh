#!/bin/sh
# Compiles each exported header alone, as strict C11, as C++17 and as C++17 inside extern "C", where old hosts put
# whatever has plain C names, together with the proof that it declares what the list attributes to it, and nothing else.
#   check_headers.sh EXPORTS_LIST INCLUDE_DIRECTORY C_COMPILER CXX_COMPILER POINTER_BYTES
set -u
list=$1 include=$2 cc=$3 cxx=$4 pointer_bytes=$5
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
warnings="-pedantic-errors -Wall -Wextra -Werror -fsyntax-only"
failures=0

fail() {
    echo "$1"
    failures=$((failures + 1))
}

# One declaration for each listed name: a pointer to it can be formed, and an object has its size.
# `languages` is a pattern: "c" for a C source, "c|c[+][+]" for a C++ one.
source_for() {  # HEADER LANGUAGES ASSERT
    echo "#include \"ovrafocus/$1.h\""
    echo "typedef int not_an_empty_source;"
    awk -v header="$1" -v languages="^($2)\$" -v assert="$3" -v pointer_bytes="$pointer_bytes" '
        $1 != header || $2 !~ languages { next }
        { printf "%s(sizeof(&%s) > 0, \"declared\");\n", assert, $4 }
        $3 == "o" {
            printf "%s(sizeof(%s) == %s, \"size\");\n", assert, $4, (pointer_bytes == 4 && NF >= 6) ? $6 : $5
        }' "$list"
}

for path in "$include"/ovrafocus/*.h; do
    header=$(basename "$path" .h)
    source_for "$header" "c" "_Static_assert" >"$directory/$header.c"
    source_for "$header" "c|c[+][+]" "static_assert" >"$directory/$header.cpp"
    # shellcheck disable=SC2086  # the warnings are separate words
    $cc -std=c11 $warnings -I"$include" "$directory/$header.c" || fail "$header.h: not strict C11, or incomplete"
    # shellcheck disable=SC2086
    $cxx -std=c++17 $warnings -I"$include" "$directory/$header.cpp" || fail "$header.h: not C++17, or incomplete"

    {
        echo 'extern "C" {'
        sed 's/^typedef .*/}/' "$directory/$header.cpp"
    } >"$directory/$header.wrapped.cpp"
    # shellcheck disable=SC2086
    $cxx -std=c++17 $warnings -I"$include" "$directory/$header.wrapped.cpp" ||
        fail "$header.h: cannot be included inside extern \"C\""

    listed=$(grep -c "^$header " "$list")
    declared=$(grep -c '^ *\(extern \)\{0,1\}OVRA_API ' "$path")
    [ "$listed" -eq "$declared" ] || fail "$header.h: declares $declared symbols, $listed are listed"

    [ "$header" = ovrafocus ] || [ "$header" = export ] ||
        grep -q "^#include \"ovrafocus/$header.h\"\$" "$include/ovrafocus/ovrafocus.h" ||
        fail "$header.h: not in ovrafocus.h"
done

awk '!/^#/ && NF { print $1 }' "$list" | sort -u >"$directory/listed_headers"
while read -r header; do
    [ -f "$include/ovrafocus/$header.h" ] || fail "$header.h: listed, but not there"
done <"$directory/listed_headers"
[ "$failures" -eq 0 ] && echo "all headers stand alone"
exit "$((failures > 0))"
