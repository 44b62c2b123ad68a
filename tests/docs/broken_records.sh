#!/bin/sh
# That broken records are refused, by those of a story.
#   broken_records.sh PROJECT PYTHON LAUNCHER HOST
set -eu
project=$1 python=$2 launcher=$3 host=$4
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
story=pick-up-and-set-down
"$launcher" --scenario "$project/scenarios/$story.json" --trace "$directory/trace" -- \
    "$host" --script "$project/scenarios/$story.host" >"$directory/printed"
"$python" -B "$project/tests/docs/check_trace_test.py" "$project/docs/trace.schema.json" "$directory/trace"
