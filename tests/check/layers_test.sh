#!/bin/sh
# Plants breaches of the include rules in a copy of the library's headers and sources and looks whether each is named.
#   layers_test.sh CMAKE PROJECT
set -u
cmake=$1 project=$2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
failures=0
for folder in include platform base focusctrl tof; do cp -R "$project/$folder" "$directory/"; done

run() { "$cmake" -P "$project/cmake/IncludeRules.cmake" "$directory" >"$directory/said" 2>&1; }
expect_named() {
    if run || ! grep -q "$1" "$directory/said"; then
        echo "not named: $1"
        failures=$((failures + 1))
    fi
}

run || { echo "the tree itself breaks the rules"; cat "$directory/said"; exit 1; }

echo '#include "ovrafocus/lifecycle.h"' >>"$directory/focusctrl/autofocus/focus_nodes.cpp"
expect_named "focus_nodes.cpp includes ovrafocus/lifecycle.h, which stands in a layer above it"
echo '#include "virtual_projector/world/world.h"' >>"$directory/base/log.cpp"
expect_named "base/log.cpp includes virtual_projector/world/world.h"
echo '#include "base/log.h"' >>"$directory/include/ovrafocus/config.h"
expect_named "include/ovrafocus/config.h includes base/log.h"
echo '' >"$directory/tof/new_room.cpp"
expect_named "tof/new_room.cpp stands in no layer"

[ "$failures" -eq 0 ] && echo "planted breaches are named"
exit "$((failures > 0))"
