#!/bin/sh
# What a program prints on a full disk is lost: it says so and ends with a code of its own.
#   lost_words.sh LAUNCHER HOST REPORT
set -eu
launcher=$1 host=$2 report=$3
. "$(dirname "$0")/projector.sh"
complaints=$(mktemp)
trap 'rm -f "$complaints"' EXIT

# The launcher's own, too.
code=0
project "$launcher" --print-settings >/dev/full 2>"$complaints" || code=$?
if [ $code -ne 123 ] || ! grep -q '^virtual-projector: the settings could not be written: ' "$complaints"; then
    echo "--print-settings ended with $code and said:"
    cat "$complaints"
    exit 1
fi

echo '{"t_us":0,"run":{"format":2}}' >"$complaints.trace"
code=0
$emulator "$report" "$complaints.trace" --story >/dev/full 2>"$complaints" || code=$?
rm "$complaints.trace"
if [ $code -eq 0 ] || ! grep -qx 'virtual-projector-report: standard output: not all of it could be written' "$complaints"; then
    echo "the report ended with $code and said:"
    cat "$complaints"
    exit 1
fi

for command in help --help "fan 3"; do
    code=0
    project "$launcher" -- "$host" "$command" >/dev/full 2>"$complaints" || code=$?
    if [ $code -ne 3 ] || ! grep -qx 'ovrafocus-host: what it printed could not be written' "$complaints"; then
        echo "'$command' ended with $code and said:"
        cat "$complaints"
        exit 1
    fi
done
