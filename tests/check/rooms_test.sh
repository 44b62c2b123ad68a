#!/bin/sh
# Plants circles of rooms and looks whether they are found.
#   rooms_test.sh ROOM_CIRCLES NM CXX
set -u
circles=$1 nm=$2 cxx=$3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
failures=0

fail() {
    echo "$1"
    failures=$((failures + 1))
}

# plant NAME SOURCE: tree/lens/NAME.cpp; an exported header of the name shares its room.
tree=$directory/tree
mkdir -p "$tree/lens" "$tree/include/ovrafocus"
plant() { printf '%b' "$2" >"$tree/$1"; }

# expect_found KIND NAMES...: the check fails and names each of these rooms.
expect_found() {
    kind=$1
    shift
    ! "$circles" "$kind" "$@" >"$directory/said" 2>&1 || fail "$kind: a planted circle was not found"
    for room in $names; do
        grep -q "$room\$" "$directory/said" || fail "$kind: $room is not named"
    done
}
expect_none() {
    kind=$1
    shift
    "$circles" "$kind" "$@" >"$directory/said" 2>&1 || { fail "$kind: a circle was found where there is none"; cat "$directory/said"; }
}

# --- By includes: two sources meet in each other's exported headers ---------------------------------------
plant include/ovrafocus/motor.h ''
plant include/ovrafocus/table.h ''
plant lens/motor.cpp '#include "ovrafocus/motor.h"\n#include "ovrafocus/table.h"\n'
plant lens/table.cpp '#include "ovrafocus/table.h"\n'
expect_none includes "$tree" lens include
plant lens/table.cpp '#include "ovrafocus/table.h"\n#include "ovrafocus/motor.h"\n'
names="lens/motor lens/table"
expect_found includes "$tree" lens include

# --- By calls: no include tells of them ---------------------------------------------------------------------
compile() { $cxx -std=c++17 -c -o "$tree/lens/$1.cpp.o" "$tree/lens/$1.cpp" || fail "$1 does not compile"; }
plant lens/motor.cpp 'int table();\nint motor() { return table(); }\n'
plant lens/table.cpp 'int table() { return 1; }\n'
compile motor && compile table
expect_none calls "$nm" "$tree" "$tree/lens/motor.cpp.o" "$tree/lens/table.cpp.o"
plant lens/table.cpp 'int motor();\nint table() { return motor(); }\n'
compile table
expect_found calls "$nm" "$tree" "$tree/lens/motor.cpp.o" "$tree/lens/table.cpp.o"

# --- Nothing to look at is no success -----------------------------------------------------------------------
mkdir "$tree/empty"
! "$circles" includes "$tree" empty >/dev/null 2>&1 || fail "an empty folder passes"

[ "$failures" -eq 0 ] && echo "planted circles are found"
exit "$((failures > 0))"
