#!/bin/sh
# Compares the log texts that pages quote with the library: every text in backquotes in a table's column "In the log"
# stands so in the code.
#   check_messages.sh PROJECT PAGE...
set -eu
LC_ALL=C
export LC_ALL
cd "$1"
shift
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
failures=0

# A text may be broken over several literals in the code.
find focusctrl tof -name '*.cpp' | sort | xargs cat | tr '\n' ' ' | sed 's/" *"//g' >"$directory/code"

for page in "$@"; do
    awk -F ' *[|] *' '
        !/^[|]/ { column = 0; next }
        { for (i = 2; i < NF; ++i) if ($i == "In the log") { column = i; next } }
        column { n = split($column, piece, "`"); for (i = 2; i <= n; i += 2) print piece[i] }' "$page" \
        >"$directory/messages"
    [ -s "$directory/messages" ] || { echo "$page quotes no message"; failures=$((failures + 1)); }
    while read -r message; do
        grep -qF -- "$message" "$directory/code" && continue
        echo "$page quotes a message that the library does not have: $message"
        failures=$((failures + 1))
    done <"$directory/messages"
    echo "$page quotes $(wc -l <"$directory/messages") messages"
done
exit "$((failures > 0))"
