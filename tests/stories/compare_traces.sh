#!/bin/sh
# Runs every story on this computer and on the board's processor under its emulator. What reached the board, with
# every number and result, what the library logged, what the host said and what the memories hold afterwards must be
# the same to the byte.
#   compare_traces.sh NATIVE_BUILD BOARD_BUILD EMULATOR SCENARIOS
set -u
native=$1 board=$2 emulator=$3 scenarios=$4
launcher=virtual_projector/launcher/virtual-projector
host=host/ovrafocus-host
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
differing=0 stories=0
if [ ! -x "$native/$launcher" ] || [ ! -x "$native/$host" ]; then
    echo "no build for this computer in $native: nothing to compare with"
    exit 77
fi

# run_story NAME BUILD PLACE WORDS...: runs the story with that build; WORDS are the emulator's and the launcher's.
run_story() {
    name=$1 build=$2 place=$directory/$3
    shift 3
    # A whole day makes three million calls; those that change something are enough there.
    detail=calls
    [ "$name" != a-day ] || detail=changes
    rm -rf "$place" && mkdir "$place"
    # Those of a folder happen one after the other to one unit.
    unit=$place.unit
    case $name in */*) unit=$unit.${name%/*} ;; *) rm -f "$unit" "$unit.tof" ;; esac
    "$@" --scenario "$scenarios/$name.json" --flash "$unit" --trace "$place/trace" --trace-detail $detail -- \
        "$build/$host" --library-log "$place/log" --script "$scenarios/$name.host" >"$place/words" 2>&1
    echo "exit code $?" >>"$place/words"
    for memory in "$unit" "$unit.tof"; do
        [ ! -f "$memory" ] || cp "$memory" "$place/memory${memory#"$unit"}"
    done
}

for file in "$scenarios"/*.host "$scenarios"/*/*.host; do
    name=${file#"$scenarios"/} name=${name%.host}
    [ -f "$scenarios/$name.json" ] || continue
    run_story "$name" "$native" native "$native/$launcher"
    # shellcheck disable=SC2086  # the emulator's command is several words
    run_story "$name" "$board" board $emulator "$board/$launcher" --emulator "$emulator"
    stories=$((stories + 1))
    if [ -s "$directory/native/trace" ] && diff -r "$directory/native" "$directory/board" >"$directory/difference"; then
        echo "$name: the same, $(wc -l <"$directory/native/trace") records and $(wc -l <"$directory/native/log") lines of log"
    else
        differing=$((differing + 1))
        echo "$name: DIFFERS"
        cut -c1-300 "$directory/difference" | head -n 8
    fi
done
echo "figure: $stories stories on both processors, $differing of them differ"
[ "$stories" -gt 0 ] && [ "$differing" -eq 0 ]
