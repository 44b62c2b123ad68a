#!/bin/sh
# The unpacked packages work in any folder: a story that runs there is the one that the build runs.
#   moved.sh PLACE SOURCES BUILD LAUNCHER HOST
set -eu
place=$1 sources=$2 build=$3 launcher=$4 host=$5
. "$(dirname "$0")/projector.sh"

if grep -rlF -e "$sources" -e "$build" "$place/root"; then
    echo "these know where they were built"
    exit 1
fi

moved=$(mktemp -d)
trap 'rm -rf "$moved"' EXIT
cp -a "$place/root/usr" "$moved/here"
ln -s here/bin/virtual-projector "$moved/projector"

# run_story LAUNCHER HOST STORIES
run_story() {
    project "$1" --scenario "$3/factory/1-calibrate.json" --trace "$moved/trace" -- \
        "$2" --library-log "$moved/log" --script "$3/factory/1-calibrate.host"
    cat "$moved/log" "$moved/trace"
}
run_story "$launcher" "$host" "$sources/scenarios" >"$moved/built"
run_story "$moved/projector" "$moved/here/bin/ovrafocus-host" "$moved/here/share/virtual-projector/scenarios" \
    >"$moved/installed"
grep -q 'calibration flags: done' "$moved/installed"
cmp "$moved/built" "$moved/installed"
echo "the same, $(wc -l <"$moved/installed") lines"

# A place that the loader cannot be told of.
mv "$moved/here" "$moved/over there"
code=0
project "$moved/over there/bin/virtual-projector" -- /bin/true >"$moved/words" 2>&1 || code=$?
if [ $code -ne 2 ] || ! grep -q 'a path with a blank or a colon cannot be preloaded$' "$moved/words"; then
    echo "in '$moved/over there' it ended with $code and said:"
    cat "$moved/words"
    exit 1
fi
