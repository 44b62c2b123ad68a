#!/bin/sh
# Builds the HTML reference in a folder of its own; any warning is a failure.
#   check_reference.sh PROJECT DOXYGEN
set -eu
cd "$1"
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
{
    cat docs/Doxyfile
    echo "OUTPUT_DIRECTORY = $directory"
} | "$2" - && [ -f "$directory/html/index.html" ] && echo "the reference has no mistakes"
