#!/bin/sh
# Runs a story and compares its trace with the schema.
#   story_fits_schema.sh PROJECT PYTHON LAUNCHER HOST STORY LEVEL...
set -eu
project=$1 python=$2 launcher=$3 host=$4 story=$5
shift 5
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
for level in "$@"; do
    # A story may end in a failure of the host's: that is what it tells.
    "$launcher" --scenario "$project/scenarios/$story.json" --trace "$directory/$level.trace" --trace-detail "$level" -- \
        "$host" --script "$project/scenarios/$story.host" >"$directory/printed" 2>&1 || [ "$?" -eq 1 ] || {
        cat "$directory/printed"
        exit 1
    }
done
"$python" -B "$project/tests/docs/check_trace.py" --thin "$project/docs/trace.schema.json" "$directory"/*.trace
