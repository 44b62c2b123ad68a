#!/bin/sh
# Builds a host in C as a CMake project that finds the unpacked packages, and runs it on them.
#   find_package.sh PLACE LIBRARY_FOLDER VERSION SOURCES CMAKE OPTION...
set -eu
place=$1 version=$3 sources=$4 cmake=$5
shift 5
. "$(dirname "$0")/projector.sh"
build=$place/find_package
rm -rf "$build"
{
    "$cmake" -S "$(dirname "$0")/find_package" -B "$build" "$@" "-DCMAKE_PREFIX_PATH=$place/root/usr" \
        "-DEXPECTED_VERSION=$version" "-DSOURCES=$sources" &&
        "$cmake" --build "$build"
} >"$place/find_package.log" 2>&1 || { cat "$place/find_package.log"; exit 1; }
focus_with "$build/host" "$place"
